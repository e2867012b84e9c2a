// The layer-2 firewall as a ruleset of nftables' bridge family. A frame passes `prerouting` with the tag that
// it came with, and `forward` with the one it leaves with.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <set>

#include "linux/answers.h"
#include "registry/services.h"

// A chain's rules, each on a line of its own.
struct Chain {
    std::string text;
    void add(const std::string &rule) { text += "\t\t" + rule + "\n"; }
};

// An nftables set of words.
static std::string set_of(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words) text += (text.empty() ? "" : ", ") + word;
    return "{ " + text + " }";
}

static std::string braces(const std::vector<std::string> &words) {
    return words.size() == 1 ? words[0] : set_of(words);
}

static std::string quoted(const std::string &word) {
    return '"' + word + '"';
}

static std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return tolower(c); });
    return text;
}

static bool is_all_of(const std::string &text, const char *characters) {
    return !text.empty() && text.find_first_not_of(characters) == std::string::npos;
}
static constexpr char DIGITS[] = "0123456789", HEX_DIGITS[] = "0123456789abcdef";

static bool is_mac(const std::string &text) {
    if (text.size() != 17) return false;
    for (size_t i = 0; i < text.size(); i++)
        if (i % 3 == 2 ? text[i] != ':' : !strchr(HEX_DIGITS, text[i])) return false;
    return true;
}

static bool is_ipv4(const std::string &text) {
    int parts = 0;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find('.', begin), text.size());
        const std::string part = text.substr(begin, end - begin);
        if (!is_all_of(part, DIGITS) || part.size() > 3 || atoi(part.c_str()) > 255) return false;
        parts++;
        begin = end + 1;
    }
    return parts == 4;
}

// ---- one rule ----

// Collects a rule's matches from the items of its entry.
struct RuleText {
    Making &making;
    int entry;  // counted from 0
    std::string matches{};
    bool is_sound = true;  // else it says what is wrong, and the plan has an error

    std::string item(const std::string &field) const {
        return making.settings.get("bfirewall", "bfw_entry:" + std::to_string(entry) + "." + field);
    }
    void match(const std::string &text) { matches += text + " "; }
    void wrong(const char *object, const std::string &why) {
        making.place = {entry + 1};
        making.error(object, why);
        making.place = {};
        is_sound = false;
    }
};

// Names of interfaces: '+' stands for the rest of a name, and in the middle for any number.
static void match_interface(RuleText *rule, const char *field, const char *which) {
    const std::string name = rule->item(field);
    if (name.empty()) return;
    if (!is_all_of(lower(name), "abcdefghijklmnopqrstuvwxyz0123456789.-_+") || name.size() > 15)
        return rule->wrong("L2FirewallRuleInterfaceSelected", "that is no name of an interface");
    const size_t plus = name.find('+');
    if (plus == std::string::npos) return rule->match(std::string(which) + " " + quoted(name));
    if (plus + 1 == name.size())
        return rule->match(std::string(which) + " " + quoted(name.substr(0, plus) + "*"));
    const std::string rest = name.substr(plus + 1);
    std::vector<std::string> names;
    for (int radio = 0; radio < RADIOS; radio++) {
        std::string one = name.substr(0, plus) + std::to_string(radio) + rest;
        if (one.ends_with('+')) one.back() = '*';
        names.push_back(quoted(one));
    }
    rule->match(std::string(which) + " " + braces(names));
}

static void match_mac(RuleText *rule, const char *object, const std::string &field,
                      const std::string &mask_field, const std::string &words) {
    const std::string mac = lower(rule->item(field)), mask = lower(rule->item(mask_field));
    if (mac.empty()) return;
    if (!is_mac(mac) || (!mask.empty() && !is_mac(mask)))
        return rule->wrong(object, "that is no MAC address");
    if (mask == "00:00:00:00:00:00") return;
    if (mask.empty() || mask == "ff:ff:ff:ff:ff:ff") return rule->match(words + " " + mac);
    std::string masked = mac;  // nft compares with what is left of the address
    for (size_t i = 0; i < mac.size(); i++) {
        if (i % 3 == 2) continue;
        const auto digit = [&](const std::string &text) { return strchr(HEX_DIGITS, text[i]) - HEX_DIGITS; };
        masked[i] = HEX_DIGITS[digit(mac) & digit(mask)];
    }
    rule->match(words + " & " + mask + " == " + masked);
}

static bool read_ip(RuleText *rule, const char *object, const std::string &field, std::string *ip,
                    int *bits) {
    *ip = rule->item(field);
    const std::string mask = rule->item(field + "Mask");
    *bits = mask.empty() ? 32 : atoi(mask.c_str());
    if (ip->empty() || *bits == 0) return false;
    if (is_ipv4(*ip) && (mask.empty() || is_all_of(mask, DIGITS)) && *bits <= 32) return true;
    rule->wrong(object, "that is no IPv4 address with a mask of 0 to 32 bits");
    return false;
}

static void match_ip(RuleText *rule, const char *object, const std::string &field, const std::string &words) {
    std::string ip;
    int bits;
    if (!read_ip(rule, object, field, &ip, &bits)) return;
    rule->match(words + " " + ip + (bits < 32 ? "/" + std::to_string(bits) : ""));
}

// "20:21" and "111 2049" as nft has them; empty for any.
static bool ports_of(const std::string &text, std::string *ports) {
    std::vector<std::string> words;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find(' ', begin), text.size());
        std::string word = text.substr(begin, end - begin);
        begin = end + 1;
        const size_t colon = word.find(':');
        if (!is_all_of(word, "0123456789:")) return false;
        if (word == "0:65535") continue;
        if (colon != std::string::npos) word[colon] = '-';
        words.push_back(word);
    }
    *ports = words.empty() ? "" : braces(words);
    return true;
}

static void match_service(RuleText *rule) {
    const Settings &settings = rule->making.settings;
    const std::string name = rule->item("IPv4.service");
    if (name.empty()) return;
    std::string columns[4];
    bool found = false;
    for (const auto &service : PREDEFINED_SERVICES)
        if (name == service[0]) {
            std::copy(std::begin(service), std::end(service), columns);
            found = true;
        }
    for (int j = 0; !found && j < settings.number("bfw_service", "table_size"); j++) {
        const std::string entry = "uds_entry:" + std::to_string(j) + ".";
        if (settings.get("bfw_service", entry + "name") != name) continue;
        found = true;
        columns[1] = settings.get("bfw_service", entry + "protocol");
        columns[2] = settings.get("bfw_service", entry + "sport");
        columns[3] = settings.get("bfw_service", entry + "dport");
    }
    if (!found) return rule->wrong("L2FirewallRuleIpv4ServiceSelected", "there is no such service");
    std::string sources, destinations;
    if (!ports_of(columns[2], &sources) || !ports_of(columns[3], &destinations))
        return rule->wrong("L2FirewallRuleIpv4ServiceSelected", "the service has ports that are none");
    const bool has_ports = !sources.empty() || !destinations.empty();
    std::vector<std::string> protocols;
    for (size_t begin = 0; begin < columns[1].size();) {
        const size_t end = std::min(columns[1].find(' ', begin), columns[1].size());
        protocols.push_back(lower(columns[1].substr(begin, end - begin)));
        begin = end + 1;
    }
    if (protocols.empty() && has_ports) protocols = {"tcp", "udp"};
    static const std::set<std::string> WITH_PORTS = {"tcp", "udp", "6", "17", "33", "132", "136"};
    for (const std::string &protocol : protocols) {
        const bool known =
            protocol == "tcp" || protocol == "udp" || protocol == "icmp" || is_all_of(protocol, DIGITS);
        if (!known)
            return rule->wrong("L2FirewallRuleIpv4ServiceSelected",
                               "the service has a protocol that is none");
        if (has_ports && !WITH_PORTS.contains(protocol))
            return rule->wrong("L2FirewallRuleIpv4ServiceSelected",
                               "the service has ports that its protocol has not");
    }
    if (!protocols.empty()) rule->match("meta l4proto " + braces(protocols));
    if (!sources.empty()) rule->match("th sport " + sources);
    if (!destinations.empty()) rule->match("th dport " + destinations);
}

// A number of hexadecimal digits, as nft takes it; empty when there is none.
static std::string hex_item(RuleText *rule, const char *object, const char *field, size_t digits) {
    const std::string text = lower(rule->item(field));
    if (text.empty()) return "";
    if (text.size() == digits && is_all_of(text, HEX_DIGITS)) return "0x" + text;
    rule->wrong(object, "not so many hexadecimal digits");
    return "";
}

// The LLC header follows the length: both service access points, and behind AA AA 03 and an OUI a type.
static void match_llc(RuleText *rule) {
    rule->match("meta protocol 0x0004");
    const std::string sap = hex_item(rule, "L2FirewallRuleIEEE8023DSAPSSAP", "IEEE_8023.sap", 2);
    const std::string type = hex_item(rule, "L2FirewallRuleIEEE8023EtherTypeNumbering", "IEEE_8023.type", 4);
    if (!sap.empty()) rule->match("@nh,0,16 " + sap + sap.substr(2));
    if (!type.empty()) rule->match("@nh,0,24 0xaaaa03 @nh,48,16 " + type);
}

static void match_opcode(RuleText *rule, const char *object, const char *field, const std::string &words) {
    const std::string opcode = rule->item(field);
    if (opcode.empty() || opcode == "-1") return;
    if (!is_all_of(opcode, DIGITS) || opcode.size() > 5) return rule->wrong(object, "that is no opcode");
    rule->match(words + " " + opcode);
}

static void match_arp(RuleText *rule) {
    rule->match("meta protocol arp");
    match_opcode(rule, "L2FirewallRuleARPOpcode", "ARP.opcode", "arp operation");
    match_mac(rule, "L2FirewallRuleSourceARPMACAddress", "ARP.sArpMac", "ARP.sArpMacMask", "arp saddr ether");
    match_ip(rule, "L2FirewallRuleSourceARPIPAddress", "ARP.sArpIp", "arp saddr ip");
    match_mac(rule, "L2FirewallRuleDestinationARPMACAddress", "ARP.dArpMac", "ARP.dArpMacMask",
              "arp daddr ether");
    match_ip(rule, "L2FirewallRuleDestinationARPIPAddress", "ARP.dArpIp", "arp daddr ip");
}

static std::string mac_number(std::string mac) {
    std::erase(mac, ':');
    return "0x" + mac;
}

static void match_rarp_mac(RuleText *rule, const char *object, const std::string &field,
                           const std::string &place) {
    const std::string mac = lower(rule->item(field)), mask = lower(rule->item(field + "Mask"));
    if (mac.empty()) return;
    if (!is_mac(mac) || (!mask.empty() && !is_mac(mask)))
        return rule->wrong(object, "that is no MAC address");
    unsigned long long number = strtoull(mac_number(mac).c_str(), nullptr, 16);
    const unsigned long long bits =
        mask.empty() ? ~0ULL >> 16 : strtoull(mac_number(mask).c_str(), nullptr, 16);
    if (bits == 0) return;
    char text[64];
    number &= bits;
    snprintf(text, sizeof text, "%s & 0x%012llx == 0x%012llx", place.c_str(), bits, number);
    rule->match(text);
}

static void match_rarp_ip(RuleText *rule, const char *object, const std::string &field,
                          const std::string &place) {
    std::string ip;
    int bits;
    if (!read_ip(rule, object, field, &ip, &bits)) return;
    unsigned number = 0;
    for (size_t begin = 0; begin < ip.size(); begin = std::min(ip.find('.', begin), ip.size() - 1) + 1)
        number = number << 8 | static_cast<unsigned>(atoi(ip.c_str() + begin));
    const unsigned mask = ~0U << (32 - bits);
    char text[64];
    snprintf(text, sizeof text, "%s & 0x%08x == 0x%08x", place.c_str(), mask, number & mask);
    rule->match(text);
}

// nft has no words for RARP: its message has ARP's fields (RFC 903).
static void match_rarp(RuleText *rule) {
    rule->match("meta protocol 0x8035");
    match_opcode(rule, "L2FirewallRuleRARPOpcode", "RARP.opcode", "@nh,48,16");
    match_rarp_mac(rule, "L2FirewallRuleSourceRARPMACAddress", "RARP.sRarpMac", "@nh,64,48");
    match_rarp_ip(rule, "L2FirewallRuleSourceRARPIPAddress", "RARP.sRarpIp", "@nh,112,32");
    match_rarp_mac(rule, "L2FirewallRuleDestinationRARPMACAddress", "RARP.dRarpMac", "@nh,144,48");
    match_rarp_ip(rule, "L2FirewallRuleDestinationRARPIPAddress", "RARP.dRarpIp", "@nh,192,32");
}

// The tag that a frame came with is known in front of the bridge only: a mark tells of it. What comes from a
// VAP has the VAP's VLAN, and no priority.
static void match_vlan(RuleText *rule, int *vlan_rules, Chain *prerouting) {
    constexpr int MARKS = 31;
    const std::string id = rule->item("VLAN.id"), priority = rule->item("VLAN.priority");
    const std::string type = hex_item(rule, "L2FirewallRuleVlanEncapsulatedType", "VLAN.vType", 4);
    if ((!id.empty() && !is_all_of(id, DIGITS)) || (!priority.empty() && !is_all_of(priority, DIGITS)))
        return rule->wrong("L2FirewallRuleVlanID", "that is no VLAN");
    if (*vlan_rules == MARKS)
        return rule->wrong("L2FirewallRuleVlanID", "there are more than 31 rules for VLANs");
    char mark[16];
    snprintf(mark, sizeof mark, "0x%x", 1U << (*vlan_rules)++);
    const std::string set_mark = std::string("meta mark set meta mark | ") + mark;
    prerouting->add((id.empty() ? "vlan id 0-4095" : "vlan id " + id) +
                    (priority.empty() ? "" : " vlan pcp " + priority) +
                    (type.empty() ? "" : " vlan type " + type) + " " + set_mark);
    std::vector<std::string> vaps;
    const Settings &settings = rule->making.settings;
    for (const Place &vap : vaps_on_air(settings, rule->making.machine)) {
        const int vlan = vlan_of_vap(settings, vap.r, vap.v);
        if (vlan != untagged_vlan(settings) && (id.empty() || atoi(id.c_str()) == vlan))
            vaps.push_back(quoted(vap_interface(vap.r, vap.v)));
    }
    if (!vaps.empty() && (priority.empty() || priority == "0"))
        prerouting->add("iifname " + braces(vaps) + (type.empty() ? "" : " meta protocol " + type) + " " +
                        set_mark);
    rule->match(std::string("meta mark & ") + mark + " == " + mark);
}

static void add_rule(Making &making, int entry, int *vlan_rules, Chain *prerouting, Chain *rules) {
    RuleText rule{making, entry};
    if (rule.item("enabled") != "enable") return;
    const std::string type = rule.item("etherType"), action = rule.item("action"),
                      name = rule.item("rule_name");
    match_interface(&rule, "sInterface", "iifname");
    match_interface(&rule, "dInterface", "oifname");
    match_mac(&rule, "L2FirewallRuleSourceMACAddress", "sMac", "sMacMask", "ether saddr");
    match_mac(&rule, "L2FirewallRuleDestinationMACAddress", "dMac", "dMacMask", "ether daddr");
    if (type == "IPv4") {
        rule.match("meta protocol ip");
        match_ip(&rule, "L2FirewallRuleSourceIPv4IPAddress", "IPv4.sIp", "ip saddr");
        match_ip(&rule, "L2FirewallRuleDestinationIPv4IPAddress", "IPv4.dIp", "ip daddr");
        match_service(&rule);
    } else if (type == "IEEE_8023") {
        match_llc(&rule);
    } else if (type == "VLAN") {
        match_vlan(&rule, vlan_rules, prerouting);
    } else if (type == "ARP") {
        match_arp(&rule);
    } else if (type == "RARP") {
        match_rarp(&rule);
    }
    if (action != "DROP" && action != "ACCEPT" && !action.empty())
        rule.wrong("L2FirewallRuleAction", "there is no such action");
    if (!rule.is_sound) return;
    rules->add("# " + std::to_string(entry + 1) + (is_clean(name) && !name.empty() ? ": " + name : ""));
    rules->add(rule.matches + "counter " + (action == "DROP" ? "drop" : "accept"));
}

// ---- who may have which address ----

static std::vector<std::string> inspected_vaps(const Making &making) {
    std::vector<std::string> names;
    for (const Place &vap : vaps_on_air(making.settings, making.machine)) {
        const std::string mask = making.settings.value_of("APRL2FirewallTrustInterface", {vap.r});
        const auto place = static_cast<size_t>(vap.v - 1);
        if (mask.size() <= place || mask[place] != '1') names.push_back(quoted(vap_interface(vap.r, vap.v)));
    }
    return names;
}

// Pairs "MAC . IP" of those who are trusted without DHCP.
static std::vector<std::string> privileged(Making &making) {
    std::vector<std::string> pairs;
    if (!making.settings.is_on("bfw_dai", "privilege")) return pairs;
    for (int j = 0; j < making.settings.number("bfw_dai", "ptbl_size"); j++) {
        const std::string entry = "privilege_entry:" + std::to_string(j) + ".";
        const std::string mac = lower(making.settings.get("bfw_dai", entry + "mac")),
                          ip = making.settings.get("bfw_dai", entry + "ip");
        if (!making.settings.is_on("bfw_dai", entry + "state") || (mac.empty() && ip.empty())) continue;
        making.place = {j + 1};
        if (is_mac(mac) && is_ipv4(ip))
            pairs.push_back(std::string(mac).append(" . ").append(ip));
        else
            making.error("L2FirewallPrivilegeMAC", "no MAC and IP address");
        making.place = {};
    }
    return pairs;
}

// Servers are heard that are trusted: with their MAC and IP address, or on a trusted VAP. Without any entry
// those on the wire are.
static void trusted_servers(Making &making, const std::vector<std::string> &inspected, Chain *dhcp) {
    const Settings &settings = making.settings;
    std::vector<std::string> trusted;
    for (const Place &vap : vaps_on_air(settings, making.machine))
        if (const std::string name = quoted(vap_interface(vap.r, vap.v));
            std::find(inspected.begin(), inspected.end(), name) == inspected.end())
            trusted.push_back(name);
    if (!trusted.empty()) dhcp->add("iifname " + braces(trusted) + " goto leased");
    bool has_entry = false;
    for (int j = 0; j < settings.number("bfw_dai", "dtbl_size"); j++) {
        const std::string entry = "dhcp_entry:" + std::to_string(j) + ".";
        const std::string mac = lower(settings.get("bfw_dai", entry + "dhcpMacAddr")),
                          ip = settings.get("bfw_dai", entry + "dhcpIpAddr");
        if (mac.empty() && ip.empty()) continue;
        making.place = {j + 1};
        if ((!mac.empty() && !is_mac(mac)) || (!ip.empty() && !is_ipv4(ip)))
            making.error("L2FirewallTrustDHCPServerMAC", "no MAC or IP address");
        making.place = {};
        has_entry = true;
        dhcp->add((mac.empty() ? "" : "ether saddr " + mac + " ") +
                  (ip.empty() ? "" : "ip saddr " + ip + " ") + "goto leased");
    }
    if (!has_entry && !inspected.empty()) dhcp->add("iifname != " + braces(inspected) + " goto leased");
    if (!has_entry && inspected.empty()) dhcp->add("goto leased");
    dhcp->add("counter drop");
}

static void address_checks(Making &making, std::string *chains, Chain *prerouting) {
    const Settings &settings = making.settings;
    const bool snoops = settings.is_on("bfw_dai", "Snooping"),
               inspects = settings.is_on("bfw_dai", "Inspection");
    const bool forces = settings.is_on("bfw_dai", "force_dhcp");
    const std::vector<std::string> inspected = inspected_vaps(making), pairs = privileged(making);
    const std::string set = set_of(pairs);
    // An acknowledgement (RFC 2132, 9.6; all servers have the message type first) says who has which address:
    // the client's hardware and its own address (RFC 2131, 2).
    Chain leased, dhcp, arp, addressed;
    leased.add("@th,1984,24 0x350105 update @leases { @th,288,48 . @th,192,32 }");
    leased.add("accept");
    *chains += "\tchain leased {\n" + leased.text + "\t}\n";
    const std::string from_server = "meta protocol ip udp sport 67 udp dport { 67, 68 } goto ";
    if (snoops) {
        trusted_servers(making, inspected, &dhcp);
        *chains += "\tchain dhcp {\n" + dhcp.text + "\t}\n";
        prerouting->add(from_server + "dhcp");
    } else if (inspects || forces) {
        prerouting->add(from_server + "leased");
    }
    if (inspects && !inspected.empty()) {
        arp.add("arp saddr ip 0.0.0.0 return");  // asks whether an address is free
        arp.add("@ll,48,48 . @nh,112,32 @leases @nh,64,48 . @nh,112,32 @leases return");
        if (!pairs.empty())
            arp.add("ether saddr . arp saddr ip " + set + " arp saddr ether . arp saddr ip " + set +
                    " return");
        arp.add("counter drop");
        *chains += "\tchain inspected {\n" + arp.text + "\t}\n";
        prerouting->add("iifname " + braces(inspected) + " meta protocol arp jump inspected");
    }
    if (forces && !inspected.empty()) {
        addressed.add("udp sport 68 udp dport 67 return");
        addressed.add("ip saddr 0.0.0.0 return");
        addressed.add("@ll,48,48 . @nh,96,32 @leases return");
        if (!pairs.empty()) addressed.add("ether saddr . ip saddr " + set + " return");
        addressed.add("counter drop");
        *chains += "\tchain addressed {\n" + addressed.text + "\t}\n";
        prerouting->add("iifname " + braces(inspected) + " meta protocol ip jump addressed");
    }
}

// ---- priorities ----

// mac80211 takes a packet priority of 256 and more as that of 802.1D.
static void priorities(Making &making, Chain *prerouting, Chain *forward) {
    static constexpr const char *KEYS[] = {"be", "bk", "ee", "ca",
                                           "vi", "vo", "ic", "nc"};  // IEEE 802.1Q-2005, annex G
    std::string all;
    for (int p = 1; p < 8; p++)
        all += (p > 1 ? ", " : "") + std::to_string(p) + " : 0:10" + std::to_string(p);
    prerouting->add("meta priority set vlan pcp map { " + all + " }");
    for (const Place &vap : vaps_on_air(making.settings, making.machine)) {
        const std::string group = filled("rf%r_vap%v", vap), name = quoted(vap_interface(vap.r, vap.v));
        std::string map;
        for (int p = 1; p < 8; p++) {
            const int category = making.settings.number(group, std::string("down8021p_") + KEYS[p], p);
            if (category != p && category >= 0 && category < 8)
                map += (map.empty() ? "" : ", ") + ("0:10" + std::to_string(p)) + " : 0:10" +
                       std::to_string(category);
        }
        const int best_effort = making.settings.number(group, "down8021p_be");
        if (best_effort > 0 && best_effort < 8)
            map.append(map.empty() ? "" : ", ").append("0:100 : 0:10").append(std::to_string(best_effort));
        if (!map.empty())
            forward->add("oifname " + name + " meta priority set meta priority map { " + map + " }");
        const int uplink = making.settings.number(group, "up8021p");
        if (uplink > 0 && uplink < 8)
            forward->add("iifname " + name + " vlan pcp set " + std::to_string(uplink));
    }
}

// ---- who may manage ----

static void managers(Making &making, Chain *input) {
    std::vector<std::string> hosts;
    for (int i = 0; i < 10; i++) {
        const std::string ip = making.settings.get("remote_manage", "entry:" + std::to_string(i) + ".ip");
        making.place = {i + 1};
        if (is_ipv4(ip))
            hosts.push_back(ip);
        else if (!ip.empty())
            making.not_done("APSysMgmtIPAddrList", "that is no IPv4 address");
        making.place = {};
    }
    if (hosts.empty()) return;
    const std::string others = "meta protocol ip ip saddr != " + braces(hosts);
    input->add(others + " tcp dport { 22, 23, 80, 443 } counter drop");
    input->add(others + " udp dport 161 counter drop");
}

void firewall(Making &making) {
    Chain prerouting, forward, input, rules;
    std::string chains;
    priorities(making, &prerouting, &forward);
    managers(making, &input);
    int vlan_rules = 0;
    for (int i = 0; i < making.settings.rule_count(); i++)
        add_rule(making, i, &vlan_rules, &prerouting, &rules);
    address_checks(making, &chains, &prerouting);  // behind the marks: it ends the chain for what servers say
    const auto base = [](const char *hook, int priority) {
        return std::string("\t\ttype filter hook ") + hook + " priority " + std::to_string(priority) +
               "; policy accept;\n";
    };
    // Rules go, but who has which address stays.
    making.plan.firewall =
        "add table bridge zevsic\nflush table bridge zevsic\ntable bridge zevsic {\n"
        "\tset leases {\n\t\ttypeof @th,288,48 . @th,192,32\n\t\tsize 65535\n"
        "\t\tflags dynamic,timeout\n\t\ttimeout 8d\n\t}\n" +
        chains + "\tchain rules {\n" + rules.text + "\t}\n\tchain prerouting {\n" + base("prerouting", -300) +
        prerouting.text + "\t}\n\tchain forward {\n" + base("forward", 0) + forward.text +
        "\t\tjump rules\n\t}\n\tchain input {\n" + base("input", 0) + input.text +
        "\t\tjump rules\n\t}\n\tchain output {\n" + base("output", 0) + "\t\tjump rules\n\t}\n}\n";
}
