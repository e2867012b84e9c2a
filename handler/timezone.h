// The time zones of the device, numbered from 1.
#pragma once

#include <string>

// Zone name empty and number not 0: looks the name of the number up. Name given and number 0: the number of
// the name (exact comparison). False for any other combination and for a zone that is not in the table.
bool timezone_lookup(int *number, std::string *name);
