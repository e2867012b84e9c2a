// What the fuzzers share. An input is a text: a line is a step.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// What every tool prints (fake_tools.cpp): no tool runs.
extern std::string tool_output;

// Ends the program where what must hold does not.
inline void expect(bool holds, const char *what, const std::string &of = "") {
    if (holds) return;
    fprintf(stderr, "not true: %s: %s\n", what, of.c_str());
    abort();
}

// What a fuzzer is for, and how often its inputs came there: over its corpus at least once, or it asks
// nothing.
struct Reach {
    explicit Reach(const char *name) : what(name) { all().push_back(this); }
    static std::vector<const Reach *> &all() {
        static std::vector<const Reach *> list;
        return list;
    }

    const char *what;
    size_t times = 0;
};

// The text up to a separator, which goes too.
inline std::string take(std::string_view *text, char separator) {
    const size_t end = text->find(separator);
    const std::string taken(text->substr(0, end));
    text->remove_prefix(end == text->npos ? text->size() : end + 1);
    return taken;
}

// A device root for the whole run, in memory.
class FuzzRoot {
  public:
    FuzzRoot() {
        char folder[] = "/dev/shm/zevsic-fuzz-XXXXXX";
        if (!mkdtemp(folder)) abort();
        path = folder;
        setenv("ZEVSIC_ROOT", folder, 1);
        for (const char *name : {"/tmp", "/etc", "/var/run", "/var/lib"})
            std::filesystem::create_directories(path + name);
    }
    ~FuzzRoot() { std::filesystem::remove_all(path); }
    void write(const char *absolute, std::string_view text) const {
        std::ofstream(path + absolute, std::ios::binary) << text;
    }

    std::string path;
};
