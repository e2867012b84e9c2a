// The rules of the layer-2 firewall: objects 7.1.1.1 to 7.1.1.39.
#include "handler/firewall.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "handler/check.h"

Table firewall_table(const FirewallList &list, int rows) {
    return {.arcs = "k",
            .counts = {std::clamp(rows, 0, MAX_ARC)},
            .group = list.group,
            .set_trace = "SET str=%s\n",
            .order = Table::TRACE_VALUE_ROW};
}

snmp_reply *firewall_column(const HandlerCall &call, const FirewallList &list, Field field) {
    field.trace = FIREWALL_READ_TRACE;
    return column(call, firewall_table(list, call.kind == KIND_GET ? list.rows() : 0), field);
}

snmp_reply *firewall_index(const HandlerCall &call, const FirewallList &list) {
    const Table table = firewall_table(list, call.kind == KIND_GET ? list.rows() : 0);
    return read_only_column(call, table, CACHED, [](const Row &row) { return std::to_string(row[0]); });
}

int read_size(const Group &group, const char *key) {
    const Reading reading = read_item(group.name.c_str(), key);
    TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
    return atoi(reading.text.c_str());
}

static Group rule_group(const Row &) {
    return {"bfirewall", GID_BFIREWALL};
}

// A device that names its maximum shows all its rule slots, used or not.
static int rule_count() {
    char maximum[64] = "";
    if (get_rc_env("MAX_BFW_RULES", maximum, sizeof maximum) != 0) TRACE("It is failed to use popen().\n");
    if (*maximum != '\0') return atoi(maximum);
    TRACE("Item not found.\n");
    return read_size(rule_group({}), "table_size");
}

static constexpr FirewallList RULES{rule_group, rule_count};

static snmp_reply *rule(const HandlerCall &call, const Field &field) {
    return firewall_column(call, RULES, field);
}

// The three families that most columns belong to.
static snmp_reply *mac(const HandlerCall &call, const char *key) {
    return rule(call, {.key = key, .check = empty_or<check_mac_addr>});
}
static snmp_reply *address(const HandlerCall &call, const char *key) {
    return rule(call, {.key = key, .check = empty_or<check_ipv4_addr>});
}
static snmp_reply *prefix(const HandlerCall &call, const char *key) {
    return rule(call, {.key = key});
}

static bool hex(char *value) {
    return check_hex_string(value);
}
static bool name_chars(char *value) {
    return check_name_chars(value);
}
template <int low, int high>
static bool number(const char *value) {
    return check_int_range(value, low, high);
}

// An opcode of no text is 0; the others are counted from 0 in the store and from 1 in the object.
static std::string opcode_shown(const std::string &stored) {
    return stored.empty() ? "0" : std::to_string(int64_t{atoi(stored.c_str())} + 1);
}
static std::string opcode_stored(const char *value) {
    return std::to_string(atoi(value) - 1);
}
static snmp_reply *opcode(const HandlerCall &call, const char *key) {
    return rule(call, {.key = key, .show = opcode_shown, .store = opcode_stored});
}

OBJECT(L2FirewallRuleIndex) {
    return firewall_index(call, RULES);
}
OBJECT(L2FirewallRuleEnabled) {
    return rule(call, {.key = "bfw_entry:%k.enabled", .codes = &SWITCH_CODES});
}
OBJECT(L2FirewallRuleName) {
    return rule(call, {.key = "bfw_entry:%k.rule_name", .check = empty_or<check_printable>});
}

static constexpr Code ETHER_TYPE_LIST[] = {{0, ""},     {1, "IPv4"}, {2, "IEEE_8023"},
                                           {3, "VLAN"}, {4, "ARP"},  {5, "RARP"}};
static constexpr Codes ETHER_TYPES{ETHER_TYPE_LIST, "0"};

OBJECT(L2FirewallRuleEtherTypeList) {
    return rule(call, {.key = "bfw_entry:%k.etherType", .codes = &ETHER_TYPES});
}

// A rule is bound to a source or a destination interface, each an item of its own. A stored name that is no
// interface of one radio shows as the first VAP.
static std::string interface_shown(char side, const char *stored) {
    char radio[10], vap[10] = "", rest = 0;
    if (sscanf(stored, "ath%9[0-9]ap%9[0-9]%c", radio, vap, &rest) == 2)
        return format("%c.%d.%d", side, atoi(radio) + 1, atoi(vap) + 1);
    if (sscanf(stored, "ath%9[0-9]ap%1[+]%c", radio, vap, &rest) == 2)
        return format("%c.%d.0", side, atoi(radio) + 1);
    return format("%c.1.1", side);
}

static snmp_reply *interface_get(const HandlerCall &call) {
    const Table table = firewall_table(RULES, rule_count());
    const Field source{.key = "bfw_entry:%k.sInterface", .trace = FIREWALL_READ_TRACE};
    const Field destination{.key = "bfw_entry:%k.dInterface", .trace = FIREWALL_READ_TRACE};
    stamp(call, CACHED);
    for_each_row(table, [&](const Row &row) {
        const std::string from = read_field(call, table, source, row).text;
        publish(call, row,
                !from.empty() ? interface_shown('s', from.c_str())
                              : interface_shown('d', read_field(call, table, destination, row).text.c_str()));
    });
    return call.reply;
}

OBJECT(L2FirewallRuleInterfaceSelected) {
    if (call.kind == KIND_GET) return interface_get(call);
    Row row{};
    char key[64], ifname[64];
    if (!accept_row(call, firewall_table(RULES, 0), {}, &row)) return call.reply;
    if (!parse_firewall_interface(call.value, row[0], key, ifname)) return set_refused(call);
    queue_item(GID_BFIREWALL, key, ifname);
    publish_written(call, row, call.value);
    return set_accepted(call);
}

OBJECT(L2FirewallRuleSourceMACAddress) {
    return mac(call, "bfw_entry:%k.sMac");
}
OBJECT(L2FirewallRuleSourceMACMask) {
    return mac(call, "bfw_entry:%k.sMacMask");
}
OBJECT(L2FirewallRuleDestinationMACAddress) {
    return mac(call, "bfw_entry:%k.dMac");
}
OBJECT(L2FirewallRuleDestinationMACMask) {
    return mac(call, "bfw_entry:%k.dMacMask");
}

OBJECT(L2FirewallRuleIpv4ServiceSelected) {
    return rule(call, {.key = "bfw_entry:%k.IPv4.service", .condition = [](const Row &, const char *value) {
                           return *value == '\0' || is_service_name(value);
                       }});
}

OBJECT(L2FirewallRuleSourceIPv4IPAddress) {
    return address(call, "bfw_entry:%k.IPv4.sIp");
}
OBJECT(L2FirewallRuleSourceIPv4IPAddressMask) {
    return prefix(call, "bfw_entry:%k.IPv4.sIpMask");
}
OBJECT(L2FirewallRuleDestinationIPv4IPAddress) {
    return address(call, "bfw_entry:%k.IPv4.dIp");
}
OBJECT(L2FirewallRuleDestinationIPv4IPAddressMask) {
    return prefix(call, "bfw_entry:%k.IPv4.dIpMask");
}
OBJECT(L2FirewallRuleIEEE8023DSAPSSAP) {
    return rule(call, {.key = "bfw_entry:%k.IEEE_8023.sap", .check = hex});
}
OBJECT(L2FirewallRuleIEEE8023EtherTypeNumbering) {
    return rule(call, {.key = "bfw_entry:%k.IEEE_8023.type", .check = hex});
}
OBJECT(L2FirewallRuleVlanID) {
    return rule(call, {.key = "bfw_entry:%k.VLAN.id", .check = empty_or<number<1, 4094>>});
}
OBJECT(L2FirewallRuleVlanPriority) {
    return rule(call, {.key = "bfw_entry:%k.VLAN.priority", .check = empty_or<number<0, 7>>});
}
OBJECT(L2FirewallRuleVlanEncapsulatedType) {
    return rule(call, {.key = "bfw_entry:%k.VLAN.vType", .check = hex});
}

OBJECT(L2FirewallRuleARPOpcode) {
    return opcode(call, "bfw_entry:%k.ARP.opcode");
}
OBJECT(L2FirewallRuleSourceARPIPAddress) {
    return address(call, "bfw_entry:%k.ARP.sArpIp");
}
OBJECT(L2FirewallRuleSourceARPIPAddressMask) {
    return prefix(call, "bfw_entry:%k.ARP.sArpIpMask");
}
OBJECT(L2FirewallRuleSourceARPMACAddress) {
    return mac(call, "bfw_entry:%k.ARP.sArpMac");
}
OBJECT(L2FirewallRuleSourceARPMACMask) {
    return mac(call, "bfw_entry:%k.ARP.sArpMacMask");
}
OBJECT(L2FirewallRuleDestinationARPIPAddress) {
    return address(call, "bfw_entry:%k.ARP.dArpIp");
}
OBJECT(L2FirewallRuleDestinationARPIPAddressMask) {
    return prefix(call, "bfw_entry:%k.ARP.dArpIpMask");
}
OBJECT(L2FirewallRuleDestinationARPMACAddress) {
    return mac(call, "bfw_entry:%k.ARP.dArpMac");
}
OBJECT(L2FirewallRuleDestinationARPMACMask) {
    return mac(call, "bfw_entry:%k.ARP.dArpMacMask");
}

OBJECT(L2FirewallRuleRARPOpcode) {
    return opcode(call, "bfw_entry:%k.RARP.opcode");
}
OBJECT(L2FirewallRuleSourceRARPIPAddress) {
    return address(call, "bfw_entry:%k.RARP.sRarpIp");
}
OBJECT(L2FirewallRuleSourceRARPIPAddressMask) {
    return prefix(call, "bfw_entry:%k.RARP.sRarpIpMask");
}
OBJECT(L2FirewallRuleSourceRARPMACAddress) {
    return mac(call, "bfw_entry:%k.RARP.sRarpMac");
}
OBJECT(L2FirewallRuleSourceRARPMACMask) {
    return mac(call, "bfw_entry:%k.RARP.sRarpMacMask");
}
OBJECT(L2FirewallRuleDestinationRARPIPAddress) {
    return address(call, "bfw_entry:%k.RARP.dRarpIp");
}
OBJECT(L2FirewallRuleDestinationRARPIPAddressMask) {
    return prefix(call, "bfw_entry:%k.RARP.dRarpIpMask");
}
OBJECT(L2FirewallRuleDestinationRARPMACAddress) {
    return mac(call, "bfw_entry:%k.RARP.dRarpMac");
}
OBJECT(L2FirewallRuleDestinationRARPMACMask) {
    return mac(call, "bfw_entry:%k.RARP.dRarpMacMask");
}

// A rule without an action accepts.
static constexpr Code ACTION_LIST[] = {{1, "DROP"}, {2, "ACCEPT"}, {2, ""}};
static constexpr Codes ACTIONS{ACTION_LIST, "3"};

OBJECT(L2FirewallRuleAction) {
    return rule(call, {.key = "bfw_entry:%k.action", .codes = &ACTIONS});
}
OBJECT(L2FirewallRuleRemark) {
    return rule(call, {.key = "bfw_entry:%k.remark", .check = name_chars});
}
