// The subtree as a manager sees it: instances in numeric order with values of their syntax. The daemon lists
// its rows as they were published and may take seconds for one answer; so columns are read as a whole, ahead
// of a walk, and kept: for a moment so that a walk is served from them, and for longer in case the daemon
// does not answer in time.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "snmp/asker.h"
#include "snmp/column.h"
#include "snmp/files.h"

enum class Outcome { VALUE, NO_OBJECT, NO_INSTANCE, NO_ANSWER, PENDING };

// A GET that was sent to the daemon; managers who ask for the same meanwhile share it.
struct PendingGet {
    Clock::time_point asked;
    Outcome outcome = Outcome::PENDING;
    Value value;
};

// Questions of a manager, each of which begins where the answer to the one before it was.
struct Walk {
    Oid at;                   // of the last answer; of the question that went without one
    Clock::time_point asked;  // it was given then
    size_t ahead = 0;         // values to be read ahead of it where it comes to its next object
};

struct Subtree {
    explicit Subtree(const std::string &socket) : asker(socket), files(socket) {
        for (size_t i = 0; i < columns.size(); i++) columns[i].latest = i;
    }

    Asker asker;
    std::chrono::seconds keep{300};  // what is known is served for as long when the daemon does not answer
    std::vector<KnownColumn> columns = std::vector<KnownColumn>(subtree_objects().size());
    std::map<Oid, std::weak_ptr<PendingGet>> lookups;
    FileWatch files;
    Clock::time_point changed;  // what was asked before does not count
    std::vector<Walk> walks;
    size_t warmed = 0;  // objects read since the start, in the order of warm_up()
    Clock::time_point warm_next;
    bool late = false;  // a request was answered without the daemon, and it has not answered since
};

// A request of a manager: for an instance, or for the one behind it.
struct ManagerRequest {
    Oid oid;
    bool next = false;
    Clock::time_point arrived;   // earliest
    Clock::time_point deadline;  // it is answered then, whether or not the daemon has answered
    // answer()'s own
    Clock::time_point seen = {};  // latest moment of its arrival
    std::optional<Walk> walk = {};
    size_t entered = 0;  // the object that it has brought its walk to
    std::shared_ptr<PendingGet> lookup = {};
};

struct SubtreeReading {
    Outcome outcome = Outcome::NO_ANSWER;
    Oid oid;
    Value value;
};

// PENDING: to be tried again after a step, or at next_try(). NO_INSTANCE for the next one: there is none.
SubtreeReading answer(Subtree *subtree, ManagerRequest *request);
Clock::time_point next_try(const Subtree &subtree, const ManagerRequest &request);

// Carries on what was begun, in small steps while no manager waits for it.
void step(Subtree *subtree, bool waits = true);

// Has everything read once, what takes long last, one object at a time while nothing else is to be asked. To
// be called after each step.
void warm_up(Subtree *subtree);
Clock::time_point next_warm_up(const Subtree &subtree);

// The daemon owes an answer for so long that what is known is served; when it will if it does not answer.
bool is_silent(const Subtree &subtree);
Clock::time_point silent_at(const Subtree &subtree);

// What is known of an object does not count any more, and of no object is it kept.
void drop_known(Subtree *subtree, size_t index);
