// The machine's radios as /etc/k480ext.conf has them, and which cards they are: /etc/zevnet.conf.
#pragma once

#include <string>

#include "linux/machine.h"
#include "platform/nl80211.h"

// Which radios of the machine become radio 1 (2.4 GHz) and radio 2 (5 GHz): indices into `found`, or -1.
// `kept[r]` is the name that radio r + 1 shall have ("phy0") or had before (its address), empty when there is
// none; an address that is known keeps its number, so that a third card does not change what the others are.
struct RadioChoice {
    int radio[RADIOS] = {-1, -1};
};
struct FoundRadio {
    WirelessRadio facts;
    std::string mac;  // its own address, "00:1a:2b:3c:4d:5e"
};
RadioChoice choose_radios(const std::vector<FoundRadio> &found, const std::string (&kept)[RADIOS]);

// The text of /etc/k480ext.conf.
std::string radio_facts_text(const std::vector<FoundRadio> &found, const RadioChoice &choice);

// The text of /etc/zevnet.conf: `old` with the radios' lines as they are now, and with that LAN port when it
// names one.
std::string machine_text(const std::string &old, const std::vector<FoundRadio> &found,
                         const RadioChoice &choice, const std::string &port);

struct RadioWishes {
    std::string radio[RADIOS];  // "phy0": what shall be radio 1 and 2; empty for one that fits
    std::string port;           // the interface that is to be LAN port 0; empty: as it is
};
// Finds the radios, writes both files and prints what was found: 0, or 1 with a line on standard error.
int find_radios(const RadioWishes &wishes);
