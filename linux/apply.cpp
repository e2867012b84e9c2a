#include "linux/apply.h"

#include <cstdio>

#include "linux/machine.h"

int write_plan(const std::string &folder) {
    fprintf(stderr, "zevnet: nothing can be written to %s yet\n", folder.c_str());
    return 1;
}

int apply_plan() {
    fputs("zevnet: nothing can be put in force yet\n", stderr);
    return 1;
}
