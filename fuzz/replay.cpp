// Runs a fuzzer over the files that it is given, without libFuzzer. Exit status 1 when they do not come to
// all that it is for.
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
    int status = 0;
    for (const Reach *reach : Reach::all()) {
        fprintf(stderr, "%s: %zu times\n", reach->what, reach->times);
        if (reach->times == 0) status = 1;
    }
    return status;
}
