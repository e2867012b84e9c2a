// What the files of radio rules share.
#pragma once

#include "handler/engine.h"
#include "handler/rules.h"

// A column that is computed from the radio's number.
template <typename Value>
snmp_reply *read_only_radios(const HandlerCall &call, Value value) {
    return read_only_rows(call, [&](const Row &row) { return value(row[0]); });
}
