// The one process of hostapd, which has both radios, over its control sockets.
#pragma once

#include <string>
#include <vector>

// Starts it when it does not answer, with the radios of the files given. False when it does not answer within
// 10 s.
bool have_hostapd(const std::vector<std::string> &files);

// The command line that does not return: the radios' files, each by its name (ath0.conf is of ath0).
std::string hostapd_command(const std::vector<std::string> &files);

// Has it take a network into a radio, or with `radio` unknown to it a radio with the networks in its file.
// False when it refuses.
bool add_to_hostapd(const std::string &radio, const std::string &file);
void remove_from_hostapd(const std::string &interface);  // a network, or a radio with all of its networks

// "ENABLED", or whatever else keeps it from being so; empty: hostapd does not have the interface.
std::string state_of(const std::string &interface);
