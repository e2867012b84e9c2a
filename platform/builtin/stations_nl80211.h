// What the kernel says of the machine's own wireless interfaces, over nl80211.
#pragma once

#include <string>
#include <string_view>

#include "platform/k480ext.h"

// The stations of an interface in the kernel's order, null when there are none or it is no wireless
// interface. Freed with free_sta_list.
sta_entry *get_sta_list_nl80211(const char *ifname);

// The system items of radios and VAPs: "rf1_mac", "rf1_ch", "rf1_txpwr_dbm", "rf1_vap1_mac", "rf1_vap1_sta".
// False when it is none of them, or the radio or VAP is not on the air.
bool radio_item_nl80211(std::string_view name, std::string *out);
