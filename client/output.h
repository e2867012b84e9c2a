// How zevctl prints values on standard output.
#pragma once

#include <string>
#include <vector>

#include "client/names.h"

// One value: "NAME.INSTANCE = TYPE: value", or a JSON object without a newline behind it.
std::string value_line(const Target &target, int type, const std::string &value);
std::string value_json(const Target &target, int type, const std::string &value);

// Texts in rows and columns.
struct Grid {
    struct Column {
        std::string heading;
        bool is_number = false;  // a text that is a whole number is meant as one
    };
    std::vector<Column> columns;
    std::vector<std::vector<std::string>> rows;  // each with a text for every column
};

enum Layout {
    ALIGNED,  // a line per row, for a terminal; columns without a text are left out
    CSV,
    JSON_ROWS,  // an array of objects
};
void print_grid(const Grid &grid, Layout layout);
