// The main loop: one thread serves everything, one request at a time.
#pragma once

extern int peer_patience;  // with a peer that sends nothing, in milliseconds; shorter for tests

// Prepares the loop. Before the socket exists.
void init_loop();

// Serves the listening socket and runs `reload` between two requests whenever SIGUSR2 has come in. Unblocks
// SIGUSR2 once its handler stands. Returns only when the loop fails.
void run_loop(int listener, void (*reload)());
