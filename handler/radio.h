// The radio table: one row per radio, and what its columns share.
#pragma once

#include "handler/column.h"

// The rows of the radios, with items of the group given.
constexpr Table radio_table(Group (*group)(const Row &row), const char *set_trace) {
    return {.arcs = "r",
            .counts = {RADIOS},
            .group = group,
            .set_trace = set_trace,
            .order = Table::TRACE_VALUE_ROW};
}

inline Group radio_group(const Row &row) {
    return {format("rf%d", row[0]), gid_rf[row[0] - 1]};
}

inline constexpr const char *RADIO_SET_TRACE = "SET str=%s,index:%r\n";
inline constexpr Table RADIO = radio_table(radio_group, RADIO_SET_TRACE);

// A GET is for a radio, or for 0: the walk that has the column published and takes no row. Traces and leaves
// the reply empty when not.
inline bool is_radio_or_walk(const HandlerCall &call) {
    if (call.index >= 0 && call.index <= RADIOS) return true;
    TRACE("The node is not exist: %d\n", call.index);
    return false;
}

inline snmp_reply *radio_column(const HandlerCall &call, const Table &table, const Field &field) {
    if (call.kind == KIND_GET && !is_radio_or_walk(call)) return call.reply;
    return column(call, table, field);
}
inline snmp_reply *radio_column(const HandlerCall &call, const Field &field) {
    return radio_column(call, RADIO, field);
}

// The GET of a column that is computed: `value(radio)` of every radio.
template <typename Value>
snmp_reply *radio_get(const HandlerCall &call, Refresh refresh, Value value) {
    if (!is_radio_or_walk(call)) return call.reply;
    stamp(call, refresh);
    for_each_row(RADIO, [&](const Row &row) { publish(call, row, value(row[0])); });
    return call.reply;
}

template <typename Value>
snmp_reply *radio_read_only(const HandlerCall &call, Refresh refresh, Value value) {
    return call.kind == KIND_SET ? set_read_only(call) : radio_get(call, refresh, value);
}

// The first word of a text; empty when it has none.
std::string first_word(const std::string &text);
