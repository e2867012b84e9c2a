// A column of the subtree, read from the daemon as a whole: a scalar by a GET, the rows of a table by many
// GETNEXTs at once where rows are likely, and then in the order in which the answers lead from one to
// another.
#pragma once

#include <chrono>
#include <vector>

#include "snmp/asker.h"
#include "snmp/objects.h"

struct Subtree;

struct KnownRow {
    RowKey key;
    Value value;  // Syntax::OTHER: the text answered is no value of the object's syntax
    Clock::time_point answered;
};

// A row found while a column is read: the answer to "what comes after it".
struct RowLink {
    RowKey key;
    bool answered = false;
    bool ended = false;   // nothing of this column
    bool passed = false;  // the way along the rows went over it
    RowKey next;
    Value value;  // of the next row
};

// A column that is being read.
struct ColumnReading {
    bool active = false;
    unsigned number = 0;  // answers to questions of an earlier one do not count
    Clock::time_point started;
    bool ahead = false;          // no manager waits for it yet
    bool again = false;          // its rows were made anew in the middle once
    bool quick = false;          // an answer came at once, so the handler has done its work
    std::vector<RowLink> links;  // by key; the first has no key and stands for the column itself
    std::vector<KnownRow> rows;  // in the daemon's order, as far as they are known
};

struct KnownColumn {
    std::vector<KnownRow> rows;  // by key; what was known last
    Clock::time_point started;   // the reading that these rows are from; the epoch: there was none
    Clock::time_point read;      // and its end
    Clock::time_point failed;
    Clock::time_point dropped;  // answers to what was asked before do not count
    size_t latest = 0;          // of the first object of a table: the column that was read last
    Clock::time_point
        rows_differ;  // likewise: a GET asked then found another row than was known, or one less
    ColumnReading reading;
    unsigned unfit = 0;  // values that the syntax could not hold
};

// Of rows by key: the first behind an OID, and the first not before a key.
std::vector<KnownRow>::const_iterator row_behind(const std::vector<KnownRow> &rows, size_t index,
                                                 const Oid &oid);
std::vector<KnownRow>::iterator row_at(std::vector<KnownRow> &rows, const RowKey &key);

// The value of the daemon's text; Syntax::OTHER, counted and the first time said in the log, when it is none.
Value value_of(Subtree *subtree, size_t index, const char *text);

// The rows that a column probably has: those of the column of its table that was read last.
const std::vector<KnownRow> &likely_rows(const Subtree &subtree, size_t index);

// Begins to read a column that is not being read. Steps of the subtree carry it on; its end is in the column:
// `rows`, `started` and `read`, or `failed`. `ahead`: no manager waits for it.
void start_reading(Subtree *subtree, size_t index, bool ahead);

// One line for each object that had values its syntax could not hold.
void log_unfit(const Subtree &subtree);
