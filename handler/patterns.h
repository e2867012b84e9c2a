// The patterns of the registry (registry/object.h says what their letters are) with a row's numbers in place,
// and the store's ids of the groups that they name.
#pragma once

#include <string>

#include "handler/toolkit.h"

// The pattern with the row's numbers in place. The row may have fewer arcs than the table, which is null for
// a scalar.
void expand(std::string *out, const char *pattern, const Table *table, const Row &row);

// Traces the pattern, if there is one, with a text and, of an item read, its key and the result.
void trace_row(const HandlerCall &call, const char *pattern, const Row &row, const std::string &text,
               const std::string &key = {}, int result = 0);

// The store's numeric id of a group's pattern, for queuing.
unsigned group_id(const char *pattern, const Row &row);
