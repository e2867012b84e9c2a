// What the tables of the layer-2 firewall share: lists of the store whose rows are counted anew at each GET.
#pragma once

#include "handler/column.h"

constexpr const char *FIREWALL_READ_TRACE = "ans= %s from ZEVCFG ret=%e.\n";

struct FirewallList {
    Group (*group)(const Row &row);
    int (*rows)();  // may be any number: rows that have no arc are not published
};

// Engines of a list's columns. The entry of row r is r − 1; rows above the count may be written.
snmp_reply *firewall_column(const HandlerCall &call, const FirewallList &list, Field field);
snmp_reply *firewall_index(const HandlerCall &call, const FirewallList &list);

// The list as a table of that many rows; below 0 is none.
Table firewall_table(const FirewallList &list, int rows);

// The number in a size item, 0 when there is none.
int read_size(const Group &group, const char *key);

// A check that lets the empty text pass.
template <auto check>
bool empty_or(char *value) {
    return *value == '\0' || check(value);
}

// True when a text is the name of a predefined or user-defined service. Case matters.
bool is_service_name(const char *text);
