// Writes ZEVSIC-MIB to standard output: mib-generate mib/descriptions.txt > mib/ZEVSIC-MIB
#include <fstream>
#include <iostream>
#include <sstream>

#include "mib/module.h"

int main(int argc, char **argv) {
    std::ifstream file(argc == 2 ? argv[1] : "");
    if (!file) {
        std::cerr << "usage: mib-generate DESCRIPTIONS\n";
        return 2;
    }
    std::ostringstream text;
    text << file.rdbuf();
    Errors errors;
    const std::string module = make_module(read_descriptions(text.str(), &errors), &errors);
    for (const std::string &error : errors) std::cerr << "mib-generate: " << error << "\n";
    if (!errors.empty()) return 1;
    std::cout << module;
    return 0;
}
