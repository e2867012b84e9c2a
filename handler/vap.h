// Virtual access points: the tables that several files of columns share. A row is a radio and a VAP; a VAP's
// items stand in three groups of the store: its own, its security and its Hotspot 2.0 group.
#pragma once

#include <cstdlib>
#include <string>

#include "handler/column.h"

// The three groups of a row that begins with radio and VAP.
Group vap_group(const Row &row);
Group vap_security_group(const Row &row);
Group vap_hotspot_group(const Row &row);

inline constexpr Table VAP{"rv", {2, 16}, vap_group, "SET str=%s,i:%I,j:%J\n", Table::VALUE_ROW_TRACE};
inline constexpr Table VAP_SECURITY{
    "rv", {2, 16}, vap_security_group, "SET str=%s,i:%I,j:%J\n", Table::VALUE_ROW_TRACE};

// A read-only column whose cells show their own last arc.
snmp_reply *index_column(const HandlerCall &call, const Table &table);

// A column of items that only the store itself makes: a missing one shows as -1, and a SET of it is accepted
// without effect.
snmp_reply *existing_item(const HandlerCall &call, const Table &table, Field field);

// Field::show and Field::store of items that hold a plain number: other texts read as 0.
inline std::string as_number(const std::string &stored) {
    return std::to_string(atoi(stored.c_str()));
}
inline std::string plain_number(const char *value) {
    return std::to_string(atoi(value));
}
