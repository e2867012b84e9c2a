// The subtree as a manager sees it: instances in numeric order with values of their syntax, read from the
// daemon one record at a time. The daemon walks its rows as they were published; so a column is read as a
// whole when a walk enters it, sorted, and kept for as long as the walk is in it.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "client/translate.h"

using Clock = std::chrono::steady_clock;

struct SubtreeObject {
    Oid oid;
    const Object *object;
};

// Every object in numeric order.
const std::vector<SubtreeObject> &subtree_objects();

struct Column {
    std::map<Oid, Value> rows;
    Clock::time_point read;  // the epoch: not read
    unsigned unfit = 0;      // values that the syntax could not hold
};

// A value that came with an answer to another question: the first row of a later column.
struct EarlyRow {
    size_t object = 0;
    std::string oid;
    std::string text;
    Clock::time_point read;
};

struct Subtree {
    std::string socket;
    std::chrono::milliseconds request_time{
        900};  // a master waits one second unless it is configured otherwise
    std::vector<Column> columns = std::vector<Column>(subtree_objects().size());
    EarlyRow early;
    Clock::time_point deadline;      // of the manager's request; the epoch: nothing was asked for it yet
    bool answering = true;           // the daemon, last time
    Clock::time_point silent_until;  // the daemon did not answer in time: it is not asked again before
};

enum class Outcome { VALUE, NO_OBJECT, NO_INSTANCE, NO_ANSWER };

struct SubtreeReading {
    Outcome outcome = Outcome::NO_ANSWER;
    Oid oid;
    Value value;
};

// Ends a request of the manager: the questions to the daemon until here shared its time.
void end_request(Subtree *subtree);

SubtreeReading read_instance(Subtree *subtree, const Oid &oid);
SubtreeReading read_next(Subtree *subtree, const Oid &oid);  // NO_INSTANCE: nothing behind it

// A SET that was sent, with what undoes it.
struct Change {
    Oid oid;
    std::optional<std::string> before;  // the daemon's text; none: there was no such instance
    bool acts = false;                  // at once, and for good
};

SetResult check_change(const Oid &oid, const Value &value);  // without the daemon
SetResult make_change(Subtree *subtree, const Oid &oid, const Value &value, Change *change);
bool undo_change(Subtree *subtree, const Change &change);

// One line for each object that had values its syntax could not hold.
void log_unfit(const Subtree &subtree);
