// The requests for the subtree, as they come from the agent library: from an AgentX master, or from managers.
#pragma once

#include "snmp/subtree.h"

// Registers the subtree with the agent library, which then has its requests answered from `subtree`.
// `timeout` is for how long a master waits for an answer. False when the library refuses.
bool register_subtree(Subtree *subtree, std::chrono::seconds timeout);

// Begins a round of the loop. `was_idle`: no request was waiting to be read until now.
void begin_round(bool was_idle);

// Carries on the requests that wait for the daemon, and answers those that can be answered now. Has
// everything read once while there are none.
void go_on_with_requests();

// When go_on_with_requests() has to be called at the latest.
Clock::time_point next_go();
