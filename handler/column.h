// The engine of table columns whose cells are items of the store: radios, VAPs and their lists, WDS links,
// lists of the firewall. A GET reads every row and publishes the column in one pass; a SET queues one item.
#pragma once

#include <string>

#include "handler/toolkit.h"

// A table's rows and where their items are kept. In the key and trace texts of its fields these stand for
// numbers and texts of the row: %r and %v the first and the second arc (radio, and VAP or link); %k and %m
// the number of the entry, counted from 0 as the store does; %s the stored text, %e the result of the read,
// %i the first arc of the request.
struct Table {
    const char *arcs;                // what the row's arcs are, in order: "r", "rv", "rvk", "rvkm" or "k"
    int counts[4];                   // rows on each level: arcs are 1 to the count
    Group (*group)(const Row &row);  // of the row's items
    const char *set_trace;  // as the texts above, with %s the written value and %I %J %K %M the arcs from 0
    enum Order {
        TRACE_VALUE_ROW,  // a SET traces, then checks the value, then the row
        VALUE_ROW_TRACE,
        ROW_VALUE_TRACE,
        ROW_TRACE_VALUE,
    } order;
};

// Number of levels of the table's row index.
int levels(const Table &table);

// A key or trace text with the row's numbers in place.
std::string expand(const char *text, const Table &table, const Row &row, const std::string &stored = "",
                   int result = 0, int index = 0);

// The row that a SET addresses. False when the instance is no row of the table. A list ("k") has no upper
// bound: entries above the count may be written.
bool parse_row(const HandlerCall &call, const Table &table, Row *row);

// Calls `visit(row)` for every row, last arc fastest.
template <typename Visit>
void for_each_row(const Table &table, Visit visit) {
    const int n = levels(table);
    Row row{};
    row.count = n;
    for (int i = 0; i < n; i++) {
        if (table.counts[i] < 1) return;
        row.arcs[i] = 1;
    }
    for (;;) {
        visit(static_cast<const Row &>(row));
        int level = n - 1;
        while (level >= 0 && row.arcs[level] == table.counts[level]) row.arcs[level--] = 1;
        if (level < 0) return;
        row.arcs[level]++;
    }
}

// Reads the field's item of a row, and traces it when the field has a trace.
Reading read_field(const HandlerCall &call, const Table &table, const Field &field, const Row &row);

// The whole column. Objects with rules of their own use its two halves, or the pieces above.
snmp_reply *column(const HandlerCall &call, const Table &table, const Field &field);
snmp_reply *column_get(const HandlerCall &call, const Table &table, const Field &field);
snmp_reply *column_set(const HandlerCall &call, const Table &table, const Field &field);

// The steps of a SET up to the row and its trace: false when the value or the row is refused (the reply says
// so).
bool accept_row(const HandlerCall &call, const Table &table, const Field &field, Row *row);

// A read-only column: `value(row)` of every row.
template <typename Value>
snmp_reply *read_only_column(const HandlerCall &call, const Table &table, Refresh refresh, Value value) {
    if (call.kind == KIND_SET) return set_read_only(call);
    stamp(call, refresh);
    for_each_row(table, [&](const Row &row) { publish(call, row, value(row)); });
    return call.reply;
}
