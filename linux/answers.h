// What becomes of each object on Linux: data, by which the plan is made, the manual page is checked, and what
// cannot be done is said.
#pragma once

#include <span>

#include "linux/plan.h"
#include "registry/registry.h"

enum class By : unsigned char {
    HOSTAPD,
    KERNEL,  // by iw, ip and tc
    PORTS,   // the kernel's bridge
    NFTABLES,
    SYSTEM,  // systemd-networkd, -timesyncd, rsyslog, the system's own files
    ZEVSIC,  // the daemon and the front end themselves: nothing is to be put in force
    NOBODY,  // Linux does not have it
};

// What is under way while a plan is made.
struct Making {
    const Settings &settings;
    const Machine &machine;
    Plan &plan;
    Place place{};               // the row at hand
    RadioPlan *radio = nullptr;  // for objects of radios, VAPs and links
    Bss *bss = nullptr;          // for objects of VAPs
    bool leave_out = false;      // the network at hand cannot be on the air
    std::map<std::string, int>
        least{};  // hostapd's options of the radio, with the least number that a VAP has

    std::string get(const char *object) const { return settings.value_of(object, place); }
    bool is_on(const char *object) const { return get(object) == "enable"; }
    int number(const char *object, int otherwise = 0) const;
    void radio_line(const std::string &line) const { radio->text += line + "\n"; }
    void line(const std::string &text) const { bss->text += text + "\n"; }
    void command(const std::string &text) const { bss->commands.push_back(text); }
    void not_done(const char *object, const std::string &why) const;  // of the row at hand
    void error(const char *object, const std::string &why) const;
};

// A family's part of the plan; called once for each radio, VAP or link that is on, or once, whichever the
// objects are of that name it.
using Rule = void (*)(Making &making);

struct Answer {
    const char *object;
    By by;
    const char *what = "";       // for people: the option that it becomes, or why nobody does it
    const char *line = nullptr;  // hostapd's line: %s the stored text, %b 1 for "enable", else 0
    Rule rule = nullptr;
    const char *asks_nothing = "disable";  // by NOBODY: the stored text that asks for nothing; more after '|'
    const char *with = nullptr;            // by NOBODY: matters only while this object has "enable"
};

// What the configuration keeps: all else shows something or does it at once.
constexpr bool is_setting(const Object &object) {
    return object.access == READ_WRITE && !object.transient && !object.acts;
}

std::span<const Answer> answers();
const Answer *answer_of(std::string_view object);  // null: the object has none

// ---- the rules, by file ----

// render_radio.cpp
void radio_head(Making &making);
void write_least(Making &making);
void radio_mode(Making &making);
void radio_multimedia(Making &making);
void radio_power(Making &making);
void radio_rates(Making &making);
void radio_distance(Making &making);
void band_steering(Making &making);
void beacon_interval(Making &making);
void of_all_vaps(Making &making);  // what Linux has once a radio, and the configuration once a VAP
// render_vap.cpp
void vap_network(Making &making);
void vap_priorities(Making &making);
void vap_bandwidth(Making &making);
void vap_security(Making &making);
void vap_roaming(Making &making);
void hotspot(Making &making);
// render_link.cpp
void wds_link(Making &making);
// render_bridge.cpp
void bridge(Making &making);
// render_firewall.cpp
void firewall(Making &making);
// render_system.cpp
void host_name(Making &making);
void clock_source(Making &making);
void management_address(Making &making);
void log_server(Making &making);

// ---- what they share ----

std::string mac_of(const Card &card, int number);  // the address of a network of the card: 0 the radio itself
constexpr int LINK_NUMBER = 16;                    // added to a link's number

int untagged_vlan(const Settings &settings);              // the VLAN by which the bridge has what has no tag
int vlan_of_vap(const Settings &settings, int r, int v);  // its VLAN, or that of the untagged
std::vector<Place> vaps_on_air(const Settings &settings, const Machine &machine);
std::vector<std::string> trunk_commands(const Settings &settings, const std::string &interface);
// hostapd's line of a pre-shared key, and the value of its lines of WEP keys: empty, and why.
std::string psk_line(const std::string &type, const std::string &key, std::string *why);
std::string wep_key(const std::string &length, const std::string &form, const std::string &key,
                    std::string *why);
bool is_clean(const std::string &text);  // no control character: fit for a line of a file
