// What the system itself has: its name, clock, addresses and log, by the files of their own services.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>

#include "linux/answers.h"

static constexpr char HEAD[] = "# Made of the running configuration: changes here are lost.\n";

// A host name has letters, digits and '-' (RFC 1123, 2.1).
void host_name(Making &making) {
    const std::string name = making.get("APSysName");
    std::string host;
    for (const char c : name)
        if (isalnum(static_cast<unsigned char>(c)) != 0 || c == '-')
            host += c;
        else if (!host.ends_with('-'))
            host += '-';
    host.erase(0, host.find_first_not_of('-'));
    host.erase(host.find_last_not_of('-') + 1);
    if (host.empty()) return making.not_done("APSysName", "it has no letter of a host name");
    if (host != name)
        making.not_done("APSysName", "a host name has letters, digits and '-' only: the others become '-'");
    making.plan.files.push_back({"/etc/hostname", host + "\n", "hostname " + host});
}

// The device's names of zones that the time zone database has under another.
static constexpr const char *ZONES[][2] = {
    {"Asia/HongKong", "Asia/Hong_Kong"},     {"US/Newfoundland_Time", "Canada/Newfoundland"},
    {"US/Atlantic_Time", "Canada/Atlantic"}, {"US/Eastern_Time", "US/Eastern"},
    {"US/Central_Time", "US/Central"},       {"US/Mountain_Time", "US/Mountain"},
    {"US/Pacific_Time", "US/Pacific"},       {"US/Alaska_Time", "US/Alaska"},
    {"US/Hawaii_Time", "US/Hawaii"},
};

void clock_source(Making &making) {
    const Settings &settings = making.settings;
    std::string zone = settings.value_of("APSysTimezone");
    const auto *known =
        std::find_if(std::begin(ZONES), std::end(ZONES), [&](const auto &pair) { return zone == pair[0]; });
    if (known != std::end(ZONES)) zone = (*known)[1];
    if (zone.empty() || !is_clean(zone) || zone.find("..") != std::string::npos)
        making.not_done("APSysTimezone", "there is no such time zone");
    else
        making.plan.files.push_back({"/etc/localtime", "/usr/share/zoneinfo/" + zone, "", true});
    const bool by_ntp = settings.is("systime", "type", "ntp");
    std::string servers;
    for (const char *key : {"ntp_server1", "ntp_server2"})
        if (const std::string server = settings.get("systime", key); !server.empty() && is_clean(server))
            servers += (servers.empty() ? "" : " ") + server;
    if (!making.machine.has_timesyncd) {
        if (by_ntp) making.not_done("APSysTimeSource", "systemd-timesyncd is not installed");
        return;
    }
    making.plan.files.push_back(
        {"/etc/systemd/timesyncd.conf.d/zevsic.conf",
         std::string(HEAD) + (by_ntp ? "[Time]\nNTP=" + servers + "\n" : "# The clock is set by hand.\n"),
         by_ntp ? "systemctl restart systemd-timesyncd" : "systemctl stop systemd-timesyncd"});
}

// The bits of "255.255.255.0", or −1.
static int bits_of(const std::string &mask) {
    unsigned number = 0;
    int parts = 0;
    for (size_t begin = 0; begin <= mask.size(); parts++) {
        const size_t end = std::min(mask.find('.', begin), mask.size());
        const int part = atoi(mask.substr(begin, end - begin).c_str());
        if (part < 0 || part > 255) return -1;
        number = number << 8 | static_cast<unsigned>(part);
        begin = end + 1;
    }
    if (parts != 4 || (~number & (~number + 1)) != 0) return -1;
    return __builtin_popcount(number);
}

void management_address(Making &making) {
    const Settings &settings = making.settings;
    const int vlan = settings.number("wan_ip", "mgmt_vid"), bits = bits_of(settings.get("wan_ip", "netmask"));
    const bool has_vlan = vlan >= 1 && vlan <= 4094;
    const std::string name = BRIDGE + (has_vlan ? "." + std::to_string(vlan) : "");
    if (!making.machine.has_networkd)
        return making.not_done("APSysIPAddress", "systemd-networkd is not installed");
    if (bits < 0) return making.error("APSysNetMask", "that is no mask");
    std::string text =
        std::string(HEAD) + "[Match]\nName=" + name + "\n\n[Network]\nConfigureWithoutCarrier=yes\n";
    const auto add = [&](const char *option, const char *group, const char *key,
                         const std::string &behind = "") {
        const std::string value = settings.get(group, key);
        if (!value.empty() && is_clean(value)) text += std::string(option) + "=" + value + behind + "\n";
    };
    add("Address", "wan_ip", "addr", "/" + std::to_string(bits));
    add("Gateway", "wan_ip", "gateway");
    add("DNS", "wan_ip", "dns1");
    add("DNS", "wan_ip", "dns2");
    const bool has_ipv6 = settings.is_on("ipv6", "state"), by_dhcp = !settings.is("ipv6", "mode", "static");
    text += std::string("LinkLocalAddressing=") + (has_ipv6 ? "ipv6" : "no") + "\n";
    text += std::string("IPv6AcceptRA=") + (has_ipv6 && by_dhcp ? "yes" : "no") + "\n";
    if (has_ipv6 && by_dhcp) text += "DHCP=ipv6\n";
    if (has_ipv6 && !by_dhcp) {
        add("Address", "ipv6", "addr", "/" + std::to_string(settings.number("ipv6", "prefix", 64)));
        add("Gateway", "ipv6", "gateway");
        add("DNS", "ipv6", "dns1");
        add("DNS", "ipv6", "dns2");
    }
    // The bridge itself has no address when its VLAN has it.
    if (has_vlan)
        making.plan.bridge.push_back("ip link add link " + std::string(BRIDGE) + " name " + name +
                                     " type vlan id " + std::to_string(vlan));
    if (has_vlan) making.plan.bridge.push_back("ip link set dev " + name + " up");
    making.plan.files.push_back(
        {"/etc/systemd/network/10-zevsic.network", text, "systemctl restart systemd-networkd"});
}

void log_server(Making &making) {
    const Settings &settings = making.settings;
    static constexpr const char *SEVERITIES[] = {"emerg",   "alert",  "crit", "err",
                                                 "warning", "notice", "info", "debug"};
    const bool is_on = settings.is_on("syslog", "state");
    const std::string server = settings.get("syslog", "server_ip");
    const int level = settings.number("syslog", "level", 6),
              port = settings.number("syslog", "server_port", 514);
    if (!making.machine.has_rsyslog) {
        if (is_on) making.not_done("APSysSystemLogEnabled", "rsyslog is not installed");
        return;
    }
    std::string text = HEAD;
    if (is_on && !server.empty() && is_clean(server) && level >= 0 && level <= 7)
        text += std::string("*.") + SEVERITIES[level] + " @" + server + ":" + std::to_string(port) + "\n";
    making.plan.files.push_back({"/etc/rsyslog.d/zevsic.conf", text, "systemctl try-restart rsyslog"});
}
