// The notifications of the front end (registry/notifications.h), sent through the agent library while the
// device's traps are enabled: to the master, or to the trap sinks of an agent that listens itself.
#pragma once

#include "snmp/asker.h"

// Begins to look for what is worth a notification. To be called once, after init_snmp().
void start_notifications(Asker *asker);

// Takes what was answered, asks anew when it is time, sends what is worth it; never waits. To be called after
// each step of the asker.
void go_on_with_notifications();

// When go_on_with_notifications() has something to do that neither the asker nor a file tells.
Clock::time_point next_notification_step();
