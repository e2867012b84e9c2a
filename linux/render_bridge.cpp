// The bridge: its VLANs and wired ports.
#include <algorithm>
#include <set>

#include "linux/answers.h"

static bool is_vlan(int number) {
    return number >= 1 && number <= 4094;
}

// The VLANs that have tags on the wire.
static std::set<int> tagged_vlans(const Settings &settings) {
    std::set<int> vlans;
    for (int r = 1; r <= RADIOS; r++)
        for (int v = 1; v <= VAPS; v++)
            if (const int vlan = settings.number(filled("rf%r_vap%v", {r, v}), "vid");
                settings.vap_is_on(r, v) && is_vlan(vlan))
                vlans.insert(vlan);
    if (const int vlan = settings.number("wan_ip", "mgmt_vid"); is_vlan(vlan)) vlans.insert(vlan);
    return vlans;
}

static int port_count(const Settings &settings, const Machine &machine) {
    return std::min(settings.number("network_L2", "lan_num"), static_cast<int>(machine.ports.size()));
}

static int vlan_of_port(const Settings &settings, int port) {
    return settings.number("network_L2", "lan:" + std::to_string(port) + ".vid", 4096);
}

int untagged_vlan(const Settings &settings) {
    std::set<int> used = tagged_vlans(settings);
    for (int i = 0; i < LAN_PORTS; i++) used.insert(vlan_of_port(settings, i));
    int vlan = 1;
    while (used.contains(vlan)) vlan++;
    return vlan;
}

int vlan_of_vap(const Settings &settings, int r, int v) {
    const int vlan = settings.number(filled("rf%r_vap%v", {r, v}), "vid");
    return is_vlan(vlan) ? vlan : untagged_vlan(settings);
}

std::vector<std::string> trunk_commands(const Settings &settings, const std::string &interface) {
    const std::string add = "bridge vlan add dev " + interface + " vid ";
    std::vector<std::string> commands = {add + std::to_string(untagged_vlan(settings)) + " pvid untagged"};
    if (settings.is("network_L2", "vlan_type", "PORT-BASED")) return commands;
    for (const int vlan : tagged_vlans(settings)) commands.push_back(add + std::to_string(vlan));
    return commands;
}

void bridge(Making &making) {
    const Settings &settings = making.settings;
    std::vector<std::string> &commands = making.plan.bridge;
    const std::string name = BRIDGE, stp = settings.is_on("network_L2", "stp") ? "1" : "0";
    // A port that nothing was said of is in no VLAN: what is new carries nothing before it is set up.
    commands.push_back("ip link set dev " + name +
                       " type bridge vlan_filtering 1 vlan_default_pvid 0 mcast_snooping 1 stp_state " + stp);
    if (!making.machine.bridge_mac.empty())
        commands.push_back("ip link set dev " + name + " address " + making.machine.bridge_mac);
    const int management = settings.number("wan_ip", "mgmt_vid");
    const std::string self = "bridge vlan add dev " + name + " vid ";
    commands.push_back(self + std::to_string(untagged_vlan(settings)) + " pvid untagged self");
    if (is_vlan(management)) commands.push_back(self + std::to_string(management) + " self");
    for (int i = 0; i < port_count(settings, making.machine); i++) {
        const std::string &port = making.machine.ports[i];
        if (port.empty()) continue;
        commands.push_back("ip link set dev " + port + " master " + name);
        if (const int vlan = vlan_of_port(settings, i); is_vlan(vlan))
            commands.push_back("bridge vlan add dev " + port + " vid " + std::to_string(vlan) +
                               " pvid untagged");
        else
            for (const std::string &command : trunk_commands(settings, port)) commands.push_back(command);
        commands.push_back("ip link set dev " + port + " up");
    }
    commands.push_back("ip link set dev " + name + " up");
    making.plan.trunk = trunk_commands(settings, "IF");
}
