// The request socket from the client's side: one connection, one request record, one reply record.
#pragma once

#include <string>
#include <string_view>

#include "registry/wire.h"

// What came of a request. Only an empty `error` makes `reply` meaningful; the texts of the reply are always
// terminated, whatever the peer sent.
struct Answer {
    std::string error;
    snmp_reply reply;
};

// The daemon's socket of this device.
std::string default_socket();

// True when the server of a connected socket runs as root or as the caller; the kernel tells (SO_PEERCRED,
// unix(7)). A request may carry a password and an answer is believed, so nobody else gets one. When not,
// `error` says who it is.
bool is_trusted(int fd, std::string *error);

// Sends one request to a server that runs as root or as the caller, and waits for its reply; the time limit
// covers all of it, the connecting included. `set` is the whole SET text (type word, blank, value) and empty
// for the other kinds. Nothing is sent when a text does not fit its field.
Answer exchange(const std::string &socket_path, RequestKind kind, std::string_view oid, std::string_view set,
                int timeout_ms);
