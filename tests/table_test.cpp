// The tables of zevctl: the views against the object registry, what is printed of the values of a server, and
// what two rounds of watching make of it.
#include <set>

#include "tests/client_fixture.h"
#include "zevctl/table.h"
#include "zevctl/watch.h"

namespace {

using Tables = Commands;

TEST_F(Tables, ARuleReadsLikeAFirewallsListing) {
    const struct {
        const char *values;  // object name behind "L2FirewallRule" and value
        std::string type, from, to;
    } cases[] = {
        {"EtherTypeList 0 SourceIPv4IPAddressMask 32", "any", "any", "any"},
        {"EtherTypeList 1 InterfaceSelected s.1.16 SourceIPv4IPAddress 10.0.0.0 SourceIPv4IPAddressMask 8 "
         "DestinationIPv4IPAddress 10.1.2.3 DestinationIPv4IPAddressMask 32 ARPOpcode 0",
         "IPv4", "VAP 1.16 10.0.0.0/8", "10.1.2.3"},
        {"EtherTypeList 3 InterfaceSelected d.2.0 VlanID 7 VlanPriority 0 "
         "SourceMACAddress 02:00:00:00:00:01 SourceMACMask FF:FF:FF:FF:FF:FF "
         "DestinationMACAddress 02:00:00:00:00:00 DestinationMACMask FF:FF:00:00:00:00",
         "VLAN ID 7 priority 0", "02:00:00:00:00:01", "radio 2 02:00:00:00:00:00/FF:FF:00:00:00:00"},
        {"EtherTypeList 4 ARPOpcode 2 SourceARPIPAddress 10.0.0.1 SourceARPIPAddressMask 0 "
         "SourceARPMACAddress 02:00:00:00:00:01 DestinationRARPMACAddress 02:00:00:00:00:02",
         "ARP opcode 2", "ARP 10.0.0.1/0 02:00:00:00:00:01", "RARP 02:00:00:00:00:02"},
    };
    for (const auto &c : cases) {
        tree.values = {{"L2FirewallRuleName.3", "n"}};
        std::istringstream words(c.values);
        for (std::string name, value; words >> name >> value;)
            tree.values.emplace_back("L2FirewallRule" + name + ".3", value);
        EXPECT_EQ(zevctl("table rule --csv"),
                  "rule,name,state,ether type,from,to,service,action,remark\n3,n,," + c.type + "," + c.from +
                      "," + c.to + ",,,\n");
    }
}

TEST_F(Tables, Layouts) {
    const Tree::Values clients = Tree::values_of(
        "L2FirewallPrivilegeMAC.1 a,\"\x1b|L2FirewallPrivilegeMAC.12 \"|L2FirewallPrivilegeIP.1 |"
        "L2FirewallPrivilegeEnabled.1 2|L2FirewallPrivilegeEnabled.12 7");
    const Tree::Values vaps = Tree::values_of(
        "VAPESSID.1.1 one|VAPESSID.1.2 two|VAPRoam11rEnabled.1.1 2|VAPRoam11rEnabled.1.2 1|"
        "VAPRoam11rOwnKey.1.1 secret|VAPRoam11rTargetApMac.1.1.1 a|VAPRoam11rTargetApMac.1.1.2 |"
        "VAPRoam11rTargetApMac.1.1.3 b|VAPRoam11rTargetApMac.1.2.1 c");
    const struct {
        Tree::Values values;
        const char *arguments, *said;
    } cases[] = {
        {clients, "privilege",
         "number  MAC address  state\n"
         "     1  a,\"\\x1b      enabled\n"
         "    12  \"            7\n"},
        {clients, "privilege --csv",
         "number,MAC address,IP address,state\n1,\"a,\"\"\\x1b\",,enabled\n12,\"\"\"\",,7\n"},
        {clients, "privilege --json", R"([
{"number":1,"MAC address":"a,\"\u001b","IP address":null,"state":"enabled"},
{"number":12,"MAC address":"\"","IP address":null,"state":7}
]
)"},
        {clients, "privilege --vertical --columns state,MAC",
         "number:      1\nstate:       enabled\nMAC address: a,\"\\x1b\n\nnumber:      12\nstate:       "
         "7\nMAC address: \"\n"},
        {{}, "dhcp", "number  MAC address  IP address  remark\n"},
        {Tree::values_of("APSysName.0 ap|L2FirewallRuleEnabled.2 1"), "7.1 APSysName L2FirewallRuleEnabled",
         "instance  L2FirewallRuleEnabled  APSysName\n"
         "2         disabled\n"
         "0                                ap\n"},
        {vaps, "security", "VAP  SSID  11r      11r peers\n1.1  one   enabled  a, b\n1.2  two\n"},
        {vaps, "security --secrets",
         "VAP  SSID  11r      11r key  11r peers\n1.1  one   enabled  secret   a, b\n1.2  two\n"},
        {{}, "rul", "zevctl: no such table: rul; did you mean rule?\nexit 1\n"},
        {{},
         "rule --columns nam,x",
         "zevctl: no such column: x (columns: name, state, ether type, from, to, service, action, "
         "remark)\nexit 2\n"},
    };
    for (const auto &c : cases) {
        tree.values = c.values;
        EXPECT_EQ(zevctl(std::string("table ") + c.arguments), c.said);
    }
}

TEST_F(Tables, RowsMayComeAndGo) {
    tree.values = Tree::values_of(
        "L2FirewallTrustDHCPServerMAC.1 a|L2FirewallTrustDHCPServerMAC.2 b|L2FirewallTrustDHCPServerMAC.3 c|"
        "L2FirewallTrustDHCPServerIP.3 address c|L2FirewallTrustDHCPServerIP.4 address d");
    int requests = 0;
    tree.before = [&] {  // the row that the walk stands on goes away, and it cannot go on
        if (++requests == 4) tree.values.erase(tree.values.begin() + 1);
    };
    EXPECT_EQ(zevctl("table dhcp"),
              "number  MAC address  IP address\n"
              "     1  a\n"
              "     3  c            address c\n"
              "     4               address d\n");
}

Grid grid(const std::vector<std::vector<std::string>> &rows) {
    Grid grid{.columns = {{"MAC address"}, {"SSID"}, {"sent", true, true}, {"signal", true}, {"rate"}},
              .rows = rows};
    for (const auto &row : rows) grid.keys.push_back(row[0]);
    return grid;
}

TEST(Watch, ShowsWhatChanged) {
    const Grid before = grid(
        {{"02:a", "", "4294967000", "-40", ""}, {"02:b", "", "5", "", ""}, {"02:d", "", "1000000", "", ""}});
    const Grid now = grid(
        {{"02:a", "", "704", "-41", ""}, {"02:c", "a\x1b[31m", "9", "", "6M"}, {"02:d", "", "100", "", ""}});
    std::string shown;
    for (const std::string &line : round_lines(&before, now, 0)) shown += line + "\n";
    EXPECT_EQ(shown,
              "3 rows, 1 new, 1 gone, sent +1100\n"
              "      MAC address  SSID       sent       signal  rate\n"
              "      02:a         -          704 +1000  -41     -\n"
              "gone  02:b         -          5          -       -\n"
              "new   02:c         a\\x1b[31m  9          -       6M\n"
              "      02:d         -          100 +100   -       -\n");
    EXPECT_EQ(round_lines(nullptr, now, -1)[0], "3 rows, 0 new, 0 gone, sent +0");
    EXPECT_EQ(round_lines(&now, grid({}), -1).size(), 5U);
}

TEST(Watch, SortsByAColumn) {
    const Grid now = grid(
        {{"02:c", "", "", "-70", "6M"}, {"02:a", "x", "9", "-60", "26M"}, {"02:b", "7", "10", "-9", "130M"}});
    const char *const orders[] = {"abc", "bac", "bac", "bac", "bac"};
    for (size_t column = 0; column < std::size(orders); column++) {
        std::string order;
        for (const std::string &line : round_lines(nullptr, now, static_cast<int>(column)))
            if (const size_t at = line.find("02:"); at != std::string::npos) order += line.substr(at + 3, 1);
        EXPECT_EQ(order, orders[column]) << now.columns[column].heading;
    }
}

}  // namespace
