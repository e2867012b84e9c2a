// Stations of the machine's own wireless interfaces, from the kernel over nl80211.
#pragma once

#include "platform/k480ext.h"

struct nlmsghdr;

// The stations of an interface in the kernel's order, null when there are none or it is no wireless
// interface. Freed with free_sta_list.
sta_entry *get_sta_list_nl80211(const char *ifname);

// The station that one message of the kernel's list tells of. False when it tells of none.
bool read_station_message(nlmsghdr *message, sta_entry *station);
