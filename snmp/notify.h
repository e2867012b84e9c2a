// The notifications of the front end (registry/notifications.h), sent through the agent library while the
// device's traps are enabled: to the master, or to the trap sinks of an agent that listens itself.
#pragma once

#include <string>

// Begins to look for what is worth a notification, from the agent library's loop and without ever waiting in
// it. To be called once, after init_snmp(). `socket` is the daemon's.
void start_notifications(const std::string &socket);
