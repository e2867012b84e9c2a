// The messages between the library and an AgentX master (RFC 2741) that the library does not see to: one that
// is larger than its parser takes costs the session, and nobody is told that a registration was refused.
#pragma once

// From the next connection to a master on: a request or an answer that is too large is answered with tooBig.
// To be called after init_agent().
void watch_master();

// True once the master has refused the subtree because another sub-agent has it.
bool subtree_is_taken();
