// The process that carries out a transfer: nobody's child, with nothing of the daemon's open, so that it
// outlives the daemon's reloads and restarts.
#pragma once

#include <string>

#include "handler/transfer_commands.h"

// Runs the commands one after the other, each to its end, then removes the lock file: whatever became of
// them. `downloaded` is the file whose size completes the second command; it is on the device like the lock
// file. Returns as soon as the process is on its own.
void start_transfer_process(const TransferCommands &commands, const std::string &downloaded,
                            const std::string &lock_file);
