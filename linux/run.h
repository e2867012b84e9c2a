// Running the system's tools, and the files of what is in force.
#pragma once

#include <string>
#include <vector>

constexpr char STATE[] = "/run/zevnet";  // all of it goes with the machine

// Has the tools of the device only: with a root set, those of the machine are out of reach.
void use_own_tools();

// Runs a command for 10 s at most; what it prints on standard output goes to `output`. False when its status
// is not 0.
bool run_tool(const std::string &command, std::string *output = nullptr);

// Writes a file of the device, as a whole or not at all, for root alone or for all. False with errno.
bool write_whole(const std::string &absolute, const std::string &text, bool for_all = false);
