// The machine that is the access point: its Wi-Fi cards and wired ports, by what /etc/zevnet.conf says and
// what the kernel knows.
//
// /etc/zevnet.conf, which `zevnet radios` writes, has lines `name = value` and # comments:
//
//   radio1 = 02:00:00:00:00:00   the card that is radio 1: its own address, /sys/class/ieee80211/*/macaddress
//   port0 = eth0                 the interface that is LAN port 0
//
// Without a line for it, radio N is the Nth card by name. There is no port without a line for it.
#pragma once

#include <array>
#include <string>
#include <vector>

constexpr int RADIOS = 2, VAPS = 16, LINKS = 8, LAN_PORTS = 8;

struct Card {
    std::string phy;  // "phy0"; empty: there is no such radio
    std::string mac;  // lower case, its own address
    unsigned ht = 0,
             vht = 0;    // HT and VHT capabilities of its band (IEEE 802.11, 9.4.2.55.2 and 9.4.2.157.2)
    int power_dbm = 20;  // the most it may send with
};

struct Machine {
    std::array<Card, RADIOS> cards;
    std::string bridge_mac;          // the bridge's own address; empty: the kernel's choice
    std::vector<std::string> ports;  // interfaces by LAN port; empty for a port that has none
    bool lacks_card = false;         // a card that has a line is not there
    bool has_networkd = false, has_timesyncd = false, has_rsyslog = false;
};

Machine read_machine();

// The names of interfaces, as the firewall's objects have them: ath0 is radio 1 itself, which sends nothing,
// ath0ap0 its first VAP, ath0wds0 its first WDS link.
std::string radio_interface(int radio);
std::string vap_interface(int radio, int vap);
std::string link_interface(int radio, int link);
