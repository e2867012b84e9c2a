#include "handler/live_table.h"

#include <algorithm>
#include <cstdio>

#include "platform/device.h"
#include "tree/node.h"

static constexpr size_t PIECE_LENGTH = 1022;
static constexpr std::string_view WHITE_SPACE = " \t\n\v\f\r";

bool begin_rebuild(const HandlerCall &call) {
    clear_child_node(call.node);
    if (call.kind == KIND_SET) set_read_only(call);
    if (call.kind != KIND_GET) return false;
    stamp(call);
    return true;
}

AddressText read_address(const std::string &text, Row *row, size_t *length) {
    unsigned b[6];
    int used = 0;
    if (sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%n", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5], &used) !=
        6)
        return AddressText::NONE;
    // "-1" reads as a number too.
    if (std::any_of(b, b + 6, [](unsigned byte) { return byte > MAX_ARC; })) return AddressText::NO_ROW;
    row->count = 6;
    std::copy(b, b + 6, row->arcs);
    if (length) *length = static_cast<size_t>(used);
    return AddressText::ROW;
}

static void split(std::string_view text, ToolLine *line) {
    while (line->field_count < line->fields.size()) {
        text.remove_prefix(std::min(text.find_first_not_of(WHITE_SPACE), text.size()));
        if (text.empty()) return;
        const size_t end = std::min(text.find_first_of(WHITE_SPACE), text.size());
        line->fields[line->field_count++] = text.substr(0, end);
        text.remove_prefix(end);
    }
}

void visit_tool_lines(const std::string &command, size_t fields, int *rows,
                      const std::function<void(const ToolLine &line)> &visit) {
    const CommandOutput printed = read_command(command);
    std::string_view output = printed.text;
    const size_t header = output.find('\n');
    output.remove_prefix(header == std::string_view::npos ? output.size() : header + 1);
    while (!output.empty()) {
        std::string_view piece = output.substr(0, PIECE_LENGTH);
        piece = piece.substr(0, piece.find('\n'));
        output.remove_prefix(std::min(piece.size() + (piece.size() < PIECE_LENGTH), output.size()));
        piece = piece.substr(0, piece.find('\0'));
        ToolLine line;
        size_t length = 0;
        // A copy: scanning in place would measure the whole rest of the output for every line.
        if (read_address(std::string(piece), &line.row, &length) != AddressText::ROW) continue;
        split(piece.substr(length), &line);
        if (line.field_count < fields) continue;
        if (++*rows > MOST_TOOL_ROWS) {
            report_tool(command, "listed too many stations or access points, the rest is left out");
            return;
        }
        visit(line);
    }
}
