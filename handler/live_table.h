// What the tables of stations and of neighbours share: their rows are MAC addresses and come and go. Every
// call of a column's handler drops the column's rows; a GET then publishes those that exist at that moment.
// Some of them come from the lines that a radio tool prints.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "handler/toolkit.h"

// Drops the column's rows and marks it as refreshed. False for a SET, which is refused and drops them too.
bool begin_rebuild(const HandlerCall &call);

// The row of an address "00:1a:2b:3c:4d:5e" at the beginning of a text, and where the text goes on behind it.
// False when there is none.
bool read_address(const std::string &text, Row *row, size_t *length = nullptr);

// A line that begins with an address. The fields behind it are separated by white space and point into the
// tool's output.
struct ToolLine {
    Row row{};
    std::array<std::string_view, 13> fields{};  // further ones are dropped
    size_t field_count = 0;

    std::string field(size_t number) const { return std::string(fields[number - 1]); }  // from 1
};

// The lines of a tool's output behind its header line. Whatever else the tool printed is skipped. A line of
// more than 1022 characters reads as several lines; a NUL ends the line for the rest of its piece.
std::vector<ToolLine> parse_tool_lines(std::string_view output);
