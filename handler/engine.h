// The engine of objects whose values are items of the store or of the system: what their entries say, carried
// out. A GET of a column reads every row and publishes the column in one pass; a SET queues one item. Objects
// with rules of their own give it hooks, or use its pieces.
#pragma once

#include <string>
#include <utility>

#include "handler/patterns.h"
#include "handler/toolkit.h"
#include "handler/value.h"

// What an entry cannot say. Members that stay null do nothing; they come after what the entry says.
struct Hooks {
    bool (*condition)(const HandlerCall &call,
                      const Row &row) = nullptr;               // a SET of call.value is allowed now
    std::string (*show)(const std::string &stored) = nullptr;  // in place of codec and words
    std::string (*store)(const char *value) = nullptr;         // in place of codec and words
};

// The whole object: a column of its table, or a scalar.
snmp_reply *ordinary(const HandlerCall &call);
snmp_reply *ordinary(const HandlerCall &call, const Hooks &hooks);

// ---- rows ----

// Calls `visit(row)` for every row of the table, last arc fastest. `count` bounds the last arc: arcs begin at
// the table's low numbers.
template <typename Visit>
void for_each_row(const Table &table, int last_high, Visit visit) {
    const int n = table.levels();
    Row row{};
    row.count = n;
    for (int i = 0; i < n; i++) row.arcs[i] = table.arcs[i].low;
    if (row.arcs[n - 1] > last_high) return;
    for (;;) {
        visit(static_cast<const Row &>(row));
        int level = n - 1;
        while (level >= 0 && row.arcs[level] == (level == n - 1 ? last_high : table.arcs[level].high)) {
            row.arcs[level] = table.arcs[level].low;
            level--;
        }
        if (level < 0) return;
        row.arcs[level]++;
    }
}

// The highest number of the last arc: the table's, or what the store counts now.
int last_row(const Table &table);

template <typename Visit>
void for_each_row(const HandlerCall &call, Visit visit) {
    for_each_row(*call.table, last_row(*call.table), visit);
}

// True when the call is for instance 0; traces and leaves the reply empty when not.
bool is_instance_0(const HandlerCall &call);
// Whether a GET may go on to the rows: tables that check the first arc trace and leave the reply empty when
// no row has it and it is not 0, as which the walk asks.
bool may_have_rows(const HandlerCall &call);

// The row that a SET addresses. False when the instance is no row of the table. A counted list has no upper
// bound: entries above the count may be written.
bool parse_row(const HandlerCall &call, Row *row);

// The steps of a SET up to the row and its trace, in the object's order: false when the value or the row is
// refused (the reply says so).
bool accept_row(const HandlerCall &call, Row *row);

// ---- items ----

// Name and id of the object's group for a row.
std::string group_name(const HandlerCall &call, const Row &row);
unsigned group_id(const HandlerCall &call, const Row &row);

// Reads the object's item of a row, from the store or from the system, and traces it. With a key (a pattern)
// another item of the group, traced as the table says or not at all.
Reading read_row(const HandlerCall &call, const Row &row);
Reading read_row_traced(const HandlerCall &call, const Row &row, const char *key);
std::string read_row(const HandlerCall &call, const Row &row, const char *key);
// Queues the object's item, or a further item of the group.
void queue_row(const HandlerCall &call, const Row &row, const std::string &text);
void queue_row(const HandlerCall &call, const Row &row, const char *key, const std::string &text);

// The end of a SET of a value that is several switches in the store: queues each, by its key, and accepts.
snmp_reply *set_switches(const HandlerCall &call, const Row &row,
                         std::initializer_list<std::pair<const char *, bool>> switches);

// True when the group has the object's item.
bool has_item(const HandlerCall &call, const Row &row);

// Whether the items that the entry needs are as it says.
bool are_needs_met(const HandlerCall &call, const Row &row);

// ---- columns and scalars by other means ----

// The GET of a column that is computed: `value(row)` of every row.
template <typename Value>
snmp_reply *get_rows(const HandlerCall &call, Value value) {
    if (!may_have_rows(call)) return call.reply;
    stamp(call);
    for_each_row(call, [&](const Row &row) { publish(call, row, value(row)); });
    return call.reply;
}

// The same of a read-only object.
template <typename Value>
snmp_reply *read_only_rows(const HandlerCall &call, Value value) {
    return call.kind == KIND_SET ? set_read_only(call) : get_rows(call, value);
}

// A scalar that always reads 0 and acts when 1 is written. `act` answers whether it could.
snmp_reply *action_scalar(const HandlerCall &call, bool (*act)());
