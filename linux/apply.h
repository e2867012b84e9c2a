// Putting the running configuration in force.
#pragma once

#include <string>

// Both return an exit status; what is wrong is said on standard error.
int apply_plan();
int write_plan(const std::string &folder);  // only the texts
