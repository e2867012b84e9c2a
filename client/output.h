// How zevctl prints values on standard output.
#pragma once

#include <string>
#include <vector>

#include "client/names.h"

// One value: "NAME.INSTANCE = TYPE: value", or a JSON object without a newline behind it.
std::string value_line(const Target &target, int type, const std::string &value);
std::string value_json(const Target &target, int type, const std::string &value);

// Lines of texts as columns of equal width. The first line is the heading.
std::vector<std::string> aligned(const std::vector<std::vector<std::string>> &lines);

// Rows that share an instance under one heading per object.
struct Table {
    std::vector<const Object *> columns;
    std::vector<std::string> instances;
    std::vector<std::vector<std::string>> cells;  // [row][column]; a row ends with its last value

    void put(const Target &target, const std::string &value);
    void print(bool json) const;
};
