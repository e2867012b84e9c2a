// The main loop: one thread serves everything, one request at a time.
#pragma once

// Prepares the loop. Before the socket exists.
void init_loop();

// Serves the listening socket and runs `reload` between two requests whenever SIGUSR2 has come in. Unblocks
// SIGUSR2 once its handler stands. Returns only when the loop fails.
void run_loop(int listener, void (*reload)());
