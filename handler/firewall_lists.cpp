// The address plane of the wireless clients: the switches 7.3 and 7.5 to 7.9, the trusted DHCP servers 7.4.1
// and the privileged clients 7.10.1.
#include "handler/check.h"
#include "handler/firewall.h"

static const Group DAI{"bfw_dai", GID_BFW_DAI};

static Group dai_group(const Row &) {
    return DAI;
}
static int server_count() {
    return read_size(DAI, "dtbl_size");
}
static int client_count() {
    return read_size(DAI, "ptbl_size");
}

static constexpr FirewallList SERVERS{dai_group, server_count};
static constexpr FirewallList CLIENTS{dai_group, client_count};

static snmp_reply *dai_switch(const HandlerCall &call, const char *key) {
    return scalar(call, DAI, {.key = key, .codes = &SWITCH_CODES});
}

OBJECT(L2FirewallDHCPSnoopingEnabled) {
    return dai_switch(call, "Snooping");
}

OBJECT(L2FirewallTrustDHCPIndex) {
    return firewall_index(call, SERVERS);
}
OBJECT(L2FirewallTrustDHCPServerMAC) {
    return firewall_column(call, SERVERS,
                           {.key = "dhcp_entry:%k.dhcpMacAddr", .check = empty_or<check_mac_addr>});
}
OBJECT(L2FirewallTrustDHCPServerIP) {
    return firewall_column(call, SERVERS,
                           {.key = "dhcp_entry:%k.dhcpIpAddr", .check = empty_or<check_ipv4_addr>});
}
OBJECT(L2FirewallTrustDHCPRemark) {
    return firewall_column(call, SERVERS,
                           {.key = "dhcp_entry:%k.remark", .check = empty_or<check_printable_nospace>});
}

OBJECT(L2FirewallARPInspection) {
    return dai_switch(call, "Inspection");
}
OBJECT(L2FirewallProxyARP) {
    return dai_switch(call, "proxy_arp");
}
OBJECT(L2FirewallForceDHCP) {
    return dai_switch(call, "force_dhcp");
}
OBJECT(L2FirewallTrustListBroadcast) {
    return dai_switch(call, "enhancement");
}
OBJECT(L2FirewallStaticTrustList) {
    return dai_switch(call, "privilege");
}

OBJECT(L2FirewallPrivilegeIndex) {
    return firewall_index(call, CLIENTS);
}
OBJECT(L2FirewallPrivilegeMAC) {
    return firewall_column(call, CLIENTS,
                           {.key = "privilege_entry:%k.mac", .check = empty_or<check_mac_addr>});
}
OBJECT(L2FirewallPrivilegeIP) {
    return firewall_column(call, CLIENTS,
                           {.key = "privilege_entry:%k.ip", .check = empty_or<check_ipv4_addr>});
}
OBJECT(L2FirewallPrivilegeEnabled) {
    return firewall_column(call, CLIENTS, {.key = "privilege_entry:%k.state", .codes = &SWITCH_CODES});
}
