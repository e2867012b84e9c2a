// The text files that zevcfg carries. The daemon has the factory settings too: a reset works on any store.
#pragma once

#include <cstddef>

struct EmbeddedFile {
    const char *path;  // absolute, on the device
    unsigned mode;
    const char *text;
};

extern const char *const factory_settings;
extern const char *const demo_settings;
extern const EmbeddedFile demo_files[];
extern const size_t demo_file_count;
