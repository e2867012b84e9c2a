// Runs a fuzzer over the files that it is given, without libFuzzer.
#include <sstream>

#include "fuzz/fuzz.h"

int main(int argc, char **argv) {
    for (int i = 1; i < argc; i++) {
        std::ostringstream text;
        text << std::ifstream(argv[i], std::ios::binary).rdbuf();
        const std::string input = text.str();
        fprintf(stderr, "%s\n", argv[i]);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    }
}
