// Putting the running configuration in force. All return an exit status; what is wrong is said on standard
// error.
//
// /run/zevnet/now has the texts of what is in force, next those on their way, "unfinished" is there
// meanwhile: after a kill nobody knows how much is in force, and the next apply begins anew. not-done tells
// what was set and cannot be done, for people.
#pragma once

#include <string>

int apply_plan();
int write_plan(const std::string &folder);  // only the texts

// Becomes hostapd, with what is in force: for a unit that starts it again.
int run_hostapd();

// Ports of the bridge as they were, after hostapd has made the networks anew, or of an interface that it has
// made for a WDS link.
int set_up_ports(const std::string &interface);
