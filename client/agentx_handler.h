// The requests of the AgentX master.
#pragma once

#include "client/subtree.h"

// Registers the subtree with the agent library, which then has its requests answered from `subtree`.
// False when the library refuses.
bool register_subtree(Subtree *subtree);
