// The SET of a manager: of several objects, all or nothing.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "snmp/subtree.h"

// One object of it, with what undoes it.
struct Change {
    Oid oid;
    Value value;
    std::optional<std::string> before;  // the daemon's text; none: there was no such instance
    bool sent = false;                  // it may have been done, answered or not
};

struct Changes {
    std::vector<Change> list;
    Clock::time_point deadline;
    unsigned phase = 0;  // answers to what was asked in an earlier one come too late
    // Called once, from a step of the subtree or a moment after the deadline. `failed`: place in the list.
    std::function<void(SetResult result, size_t failed)> done;
};

SetResult check_change(const Oid &oid, const Value &value);  // without the daemon

// Sends one after the other until one is refused; none to a daemon that is silent. `done` may set another
// function for undo_changes().
void make_changes(Subtree *subtree, const std::shared_ptr<Changes> &changes);

// Takes back what was sent, the last first. DONE only when all of it could be.
void undo_changes(Subtree *subtree, const std::shared_ptr<Changes> &changes);

// Ends what has not ended by its deadline, or has not begun when the daemon falls silent; when that is.
void end_late_changes(const Subtree &subtree, const std::shared_ptr<Changes> &changes);
Clock::time_point latest_end(const Subtree &subtree, const Changes &changes);
