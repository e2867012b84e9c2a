// How zevctl prints values on standard output.
//
// With --json a command prints one document, at its end: print_document. Values that are missing are null.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/names.h"

// One value: "NAME.INSTANCE = TYPE: value", or a JSON object without a newline behind it.
std::string value_line(const Target &target, int type, const std::string &value);
std::string value_json(const Target &target, int type, const std::optional<std::string> &value);

// A text as a JSON string. "null" when it is empty, which stands for what is missing.
std::string json_text(const std::string &text);
// An array of documents.
std::string json_array(const std::vector<std::string> &documents);

// Prints the document of a call: what the command answered, empty for nothing, or an object with what went
// wrong and that.
void print_document(const std::string &answer, const std::vector<std::string> &errors);

// Texts in rows and columns.
struct Grid {
    struct Column {
        std::string heading;
        bool is_number = false;   // a text that is a whole number is meant as one
        bool is_counter = false;  // that wraps at 32 bits
    };
    std::vector<Column> columns;
    std::vector<std::string> keys;               // what tells the rows apart
    std::vector<std::vector<std::string>> rows;  // each with a text for every column
};

enum Layout {
    ALIGNED,   // a line per row; columns without a text are left out
    VERTICAL,  // a line per text, an empty line between rows; what has no text is left out
    CSV,
};
void print_grid(const Grid &grid, Layout layout);
size_t aligned_width(const Grid &grid);   // in characters
std::string grid_json(const Grid &grid);  // an array of objects

// Of the terminal on standard output, in characters and lines; 0 where there is none.
struct TerminalSize {
    size_t width = 0, height = 0;
};
TerminalSize terminal_size();
