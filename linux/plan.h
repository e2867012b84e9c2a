// What the running configuration becomes on this machine, as texts. Nothing here touches the machine.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "linux/machine.h"
#include "linux/settings.h"

constexpr char BRIDGE[] = "br0", HOSTAPD_SOCKETS[] = "/run/hostapd";

// A network of a radio: a VAP, or the side of a WDS link that waits for the other.
struct Bss {
    std::string interface, text;        // hostapd's lines, "bss=" the first
    std::vector<std::string> commands;  // when the interface is there: of ip, bridge, tc and iw
};

// A WDS link's side that calls the other.
struct Caller {
    std::string interface, mac;
    std::string text;  // the configuration of wpa_supplicant
    std::vector<std::string> commands;
};

struct RadioPlan {
    std::string interface, mac, phy;
    std::string text;  // hostapd's lines of the radio
    std::vector<Bss> networks;
    std::vector<Caller> callers;
    std::vector<std::string> commands;  // of iw, when the radio is up; what the card cannot do is said
};

struct SystemFile {
    std::string path, text;  // text: with `is_link` what it points to
    std::string command;     // makes it known, when the file has changed
    bool is_link = false;
};

struct Plan {
    std::vector<RadioPlan> radios;    // those that are on
    std::vector<std::string> bridge;  // commands of ip and bridge
    std::vector<std::string> trunk;   // commands for an interface "IF" that hostapd makes by itself
    std::string firewall;             // for nft
    std::vector<SystemFile> files;
    std::vector<std::string> not_done;  // what was set and cannot be done, a line each, without any value
    std::vector<std::string> errors;    // why nothing of it may be put in force
};

Plan make_plan(const Lookup &configuration, const Machine &machine);

// The texts by file name: a file of hostapd for each radio (ath0.conf), of wpa_supplicant for each link that
// calls (ath0wds0.conf), firewall.nft, "commands", the system's files below "files", "not-done".
//
// "commands" has sections: a line "# NAME" and the commands behind it, of ip, bridge, tc and iw. NAME is the
// bridge, a network's interface (what is done when it is there), a radio's (what makes it) or a radio's and "
// on air".
std::map<std::string, std::string> texts_of(const Plan &plan);

constexpr char ON_AIR[] = " on air", TRUNK[] = "trunk";

// hostapd's file of a radio.
std::string hostapd_text(const RadioPlan &radio);
