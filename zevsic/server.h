// The request socket: one request record and one reply record per connection.
#pragma once

#include "function/wire.h"

// Makes, binds and listens on /tmp/zevsic_sock (mode 0660), in place of whatever has that name: the
// descriptor. Ends the process with status 0 and a line on standard error when it cannot.
int init_nonblock_socket();

// Accepts a connection: a non-blocking descriptor, or −1 (reported).
int accept_client(int listener);

enum class Received { RECORD, NOTHING_YET, FAILED };
// Reads a request with one call. What it brings is the record: missing bytes are zero. FAILED is reported.
Received read_request(int client, snmp_request *request);

// Executes the request, writes the reply with one call and closes the connection.
void serve_request(int client, snmp_request *request);
