// Questions to the daemon, many at once, and none waited for. The daemon answers one after the other in the
// order in which they were sent, so the oldest tells how it does.
#pragma once

#include <array>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "registry/wire.h"

using Clock = std::chrono::steady_clock;

// In the order in which they are sent. What may run tools goes when nothing else is awaited, one at a time.
enum class Turn { AWAITED, SLOW, AHEAD };

struct DaemonQuestion {
    RequestKind kind = KIND_GET;
    std::string oid;
    std::string set;  // of a SET: type word, blank, value
    Turn turn = Turn::AWAITED;
    Clock::time_point send_before;                 // it fails when it could not be sent until then
    std::optional<std::weak_ptr<const void>> use;  // and once this is gone
    std::function<void(const snmp_reply *)> done;  // null: there is and will be no answer
};

struct SentQuestion {
    DaemonQuestion question;
    int fd;
    Clock::time_point sent;
    size_t received;
    std::unique_ptr<snmp_reply> part;  // of a reply that did not come in one piece
};

struct Asker {
    explicit Asker(std::string path) : socket(std::move(path)) {}
    ~Asker();
    Asker(const Asker &) = delete;
    Asker &operator=(const Asker &) = delete;

    std::string socket;
    Clock::time_point now =
        Clock::now();  // as of the last step: what happens in one round happens at one time
    std::array<std::deque<DaemonQuestion>, 3> queues;  // of each turn: not sent yet
    std::deque<SentQuestion> sent;                     // oldest first
    bool slow_sent = false;                            // one of them is slow
    Clock::time_point answered;                        // the last answer came
    Clock::time_point refused;  // when its socket first did not take a question; the epoch: it does
    bool gone = false;          // nobody listened at its socket then
    std::string error;          // of the last question without an answer
    Clock::time_point cleared;  // the queues, of questions that are of no use any more
};

void ask(Asker *asker, DaemonQuestion question);

// True when no question waits to be sent.
bool all_sent(const Asker &asker);

// Takes a few answers that are there and sends the questions whose turn it is. While no manager waits it is
// one question: his next request would wait for the others, and the master and he are at work long enough
// for one.
void step(Asker *asker, bool waits = true);

// Readable when there may be something to take; −1 when nothing was sent.
int waiting_fd(const Asker &asker);

// When step() has something to do that waiting_fd() does not tell.
Clock::time_point next_step(const Asker &asker);

// For how long the daemon has owed an answer.
Clock::duration silence(const Asker &asker);

// Waits until there may be something to take, at most until then.
void wait_for_answers(const Asker &asker, Clock::time_point until);
