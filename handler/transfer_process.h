// The process that carries out a transfer: nobody's child, with nothing of the daemon's open, so that it
// outlives the daemon's reloads and restarts.
#pragma once

#include <string>

#include "handler/transfer_commands.h"

// Runs the commands one after the other, each to its end, then removes the lock file: whatever became of
// them. Only when the first failed and left `file` empty the second does not run: then the empty file stays
// when it was to be sent, and goes when it was to be restored. The size of `file` completes a second command
// that takes one; it is on the device like the lock file. `work` names it in the system's log. Returns as
// soon as the process is on its own.
void start_transfer_process(const TransferCommands &commands, const std::string &file,
                            const std::string &lock_file, const std::string &work);
