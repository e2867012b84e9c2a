// What the tables of stations and of neighbours share: their rows are MAC addresses and come and go. Every
// call of a column's handler drops the column's rows; a GET then publishes those that exist at that moment.
// Some of them come from the lines that a radio tool prints.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "handler/toolkit.h"

// Drops the column's rows and marks it as refreshed. False for a SET, which is refused and drops them too.
bool begin_rebuild(const HandlerCall &call);

// The row of an address "00:1a:2b:3c:4d:5e" at the beginning of a text, and where the text goes on behind it.
enum class AddressText {
    ROW,
    NO_ROW,  // six numbers, but not of bytes
    NONE,
};
AddressText read_address(const std::string &text, Row *row, size_t *length = nullptr);

// A line of a tool that begins with an address. The fields behind it are separated by white space and point
// into the tool's output.
struct ToolLine {
    Row row{};
    std::array<std::string_view, 13> fields{};  // further ones are dropped
    size_t field_count = 0;

    std::string field(size_t number) const { return std::string(fields[number - 1]); }  // from 1
};

// The rows that one rebuild of a column takes from tools: more than any device has stations or neighbours.
constexpr int MOST_TOOL_ROWS = 4096;

// Runs a tool and visits the lines behind its header line that have at least `fields` fields. Whatever else
// the tool printed is skipped. A line of more than 1022 characters reads as several lines; a NUL ends the
// line for the rest of its piece. `rows` counts the column's rows over all its tools: the lines above
// MOST_TOOL_ROWS are left out, which is said on standard error.
void visit_tool_lines(const std::string &command, size_t fields, int *rows,
                      const std::function<void(const ToolLine &line)> &visit);
