// The request socket: one request record and one reply record per connection.
#pragma once

#include "registry/wire.h"

// Makes, binds and listens on /tmp/zevsic_sock (mode 0660), in place of whatever has that name: the
// descriptor. Ends the process with status 0 and a line on standard error when it cannot.
int init_nonblock_socket();

enum class Received {
    RECORD,
    NOTHING_YET,   // connected, but the peer has sent nothing so far
    FAILED,        // reported; there is no connection any more
    NOT_ACCEPTED,  // reported; the connection goes on waiting, for want of a descriptor as a rule
};
// Reads a request with one call. What it brings is the record: missing bytes are zero.
Received read_request(int client, snmp_request *request);
// Accepts a connection (non-blocking) and reads its request if it is there already. Failures in a row are
// reported once.
Received recv_cli(int listener, snmp_request *request, int *client);

// Sets the times of the socket's file: who keeps values sees (inotify(7)) that they may be others now.
void mark_socket();

// Executes the request if its peer may have that done, writes the reply with one call and closes the
// connection.
void serve_request(int client, snmp_request *request);
