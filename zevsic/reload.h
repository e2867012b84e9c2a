// Rebuilding the agent.
#pragma once

// Throws tree and state record away and builds them anew. Only between two requests: the main loop calls it
// when SIGUSR2 has come in. Queued configuration items stay queued.
void reload_agent();
