// The subcommands of zevctl. Each prints its result on standard output, a failure as one line on standard
// error, and returns the exit status. With --json it keeps its result until finish prints the one document.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "client/names.h"
#include "registry/wire.h"

struct Client {
    std::string socket;
    int timeout_ms = 5000;  // of one request
    bool json = false;
};

enum Exit { EXIT_DONE = 0, EXIT_REFUSED = 1, EXIT_USAGE = 2, EXIT_NO_DAEMON = 3 };

int get(const Client &client, const std::vector<std::string> &objects);
int get_next(const Client &client, const std::string &object);
int set(const Client &client, const std::string &object, const std::string &value);

// All values of a subtree in the daemon's order; `from` empty is the whole tree.
int walk(const Client &client, const std::string &from);

int dump(const Client &client);
int save(const Client &client);

// Starts an apply; `wait` also waits for its end, at most `limit_ms`.
int apply(const Client &client, bool wait, int limit_ms = 60000);

// For subcommands elsewhere: prints a failure and returns its status.
int complain(int status, const std::string &text);

// What the command answers with --json; nothing else may then go to standard output.
void answer_json(std::string document);

// Ends a call: with --json prints its document, failures included. Returns the status.
int finish(const Client &client, int status);

// Calls `visit` for every value at or below an OID. `error` says why the walk is not complete: the daemon
// does not answer, or the tables changed meanwhile (EXIT_REFUSED).
int walk_values(const Client &client, const std::string &from,
                const std::function<void(const Target &, const snmp_reply &)> &visit, std::string *error);

// What a refusal means for an object, with what it accepts.
std::string refusal(const Object &object, int status);

// Sends a SET. On success `wire` holds the value as it was sent.
int send_set(const Client &client, const Target &target, const std::string &value, std::string *wire);
