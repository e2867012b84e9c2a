#include "linux/apply.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "linux/plan.h"

static int complain(const std::string &why) {
    fprintf(stderr, "zevnet: %s\n", why.c_str());
    return 1;
}

static bool write_text(const std::filesystem::path &path, const std::string &text) {
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    return file.good();
}

int write_plan(const std::string &folder) {
    const Lookup configuration = running_configuration();
    if (!configuration) return complain("the store cannot be read");
    const Plan plan = make_plan(configuration, read_machine());
    for (const std::string &error : plan.errors) complain(error);
    for (const auto &[name, text] : texts_of(plan))
        if (!write_text(folder + "/" + name, text)) return complain("cannot write " + name);
    return plan.errors.empty() ? 0 : 1;
}

int apply_plan() {
    fputs("zevnet: nothing can be put in force yet\n", stderr);
    return 1;
}
