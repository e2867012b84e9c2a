// The layer-2 firewall: rules, services, switches and lists.
#include <sstream>

#include "tests/unit/agent_fixture.h"

using Items = std::vector<std::string>;
static const Items REFUSED = {"refused 34"};
static const Items READ_ONLY_COLUMN = {"refused 31"};

class FirewallTest : public AgentTest {
  protected:
    // The last row that GETNEXT finds in a column, 0 for none.
    static int last_row(const std::string &column) {
        int row = 0;
        for (Answer at = next(column); at.oid.starts_with(column + "."); at = next(at.oid)) {
            EXPECT_EQ(at.oid, column + "." + std::to_string(row + 1));
            row++;
        }
        return row;
    }
};

struct SetCase {
    const char *oid;
    std::string value;
    Items items;
};

TEST_F(FirewallTest, WhatARuleQueues) {
    fake.item("bfw_service", "table_size", "2");
    fake.item("bfw_service", "uds_entry:0.name", "");
    fake.item("bfw_service", "uds_entry:1.name", "Own service");
    fake.item("bfw_service", "uds_entry:2.name", "Beyond");
    const std::string name(32, 'x');
    const SetCase cases[] = {
        {"7.1.1.1.1", "1", READ_ONLY_COLUMN},
        {"7.1.1.2.1", "1", {"bfirewall bfw_entry:0.enabled=disable"}},
        {"7.1.1.2.255", "2", {"bfirewall bfw_entry:254.enabled=enable"}},
        {"7.1.1.2.1", "3", REFUSED},
        {"7.1.1.3.2", name, {"bfirewall bfw_entry:1.rule_name=" + name}},
        {"7.1.1.3.2", name + "x", REFUSED},
        {"7.1.1.3.2", "", {"bfirewall bfw_entry:1.rule_name="}},
        {"7.1.1.4.1", "0", {"bfirewall bfw_entry:0.etherType="}},
        {"7.1.1.4.1", "2", {"bfirewall bfw_entry:0.etherType=IEEE_8023"}},
        {"7.1.1.4.1", "6", REFUSED},
        {"7.1.1.5.1", "s.2.0", {"bfirewall bfw_entry:0.sInterface=ath1ap+"}},
        {"7.1.1.5.3", "d.1.16", {"bfirewall bfw_entry:2.dInterface=ath0ap15"}},
        {"7.1.1.5.1", "s.3.1", REFUSED},
        {"7.1.1.5.1", "s.1.1x", REFUSED},
        {"7.1.1.5.1", "", REFUSED},
        {"7.1.1.6.1", "00-1a-2b-3c-4d-5e", {"bfirewall bfw_entry:0.sMac=00:1A:2B:3C:4D:5E"}},
        {"7.1.1.7.1", "00-1a:2b-3c-4d-5e", REFUSED},
        {"7.1.1.9.1", "", {"bfirewall bfw_entry:0.dMacMask="}},
        {"7.1.1.10.1", "HTTP", {"bfirewall bfw_entry:0.IPv4.service=HTTP"}},
        {"7.1.1.10.1", "http", REFUSED},
        {"7.1.1.10.1", "Own service", {"bfirewall bfw_entry:0.IPv4.service=Own service"}},
        {"7.1.1.10.1", "Beyond", REFUSED},
        {"7.1.1.10.1", "", {"bfirewall bfw_entry:0.IPv4.service="}},
        {"7.1.1.13.1", "0.1.2.3", REFUSED},
        {"7.1.1.14.1", "33", REFUSED},
        {"7.1.1.14.1", "", REFUSED},
        {"7.1.1.15.1", "f", REFUSED},
        {"7.1.1.16.1", "08g0", REFUSED},
        {"7.1.1.17.1", "4095", REFUSED},
        {"7.1.1.18.1", "8", REFUSED},
        {"7.1.1.20.1", "0", {"bfirewall bfw_entry:0.ARP.opcode=-1"}},
        {"7.1.1.20.1", "26", {"bfirewall bfw_entry:0.ARP.opcode=25"}},
        {"7.1.1.20.1", "27", REFUSED},
        {"7.1.1.29.1", "", REFUSED},
        {"7.1.1.38.1", "1", {"bfirewall bfw_entry:0.action=DROP"}},
        {"7.1.1.38.1", "3", REFUSED},
        {"7.1.1.39.1", "a/b", REFUSED},
        {"7.1.1.39.1", std::string(21, 'x'), REFUSED},
    };
    for (const auto &c : cases) EXPECT_EQ(queued_by(c.oid, c.value), c.items) << c.oid << " = " << c.value;
}

// Every column that takes one item as it is, with that item.
TEST_F(FirewallTest, ColumnsAndTheirItems) {
    const std::pair<const char *, const char *> families[] = {
        {"AA:BB:CC:DD:EE:FF",
         "6 sMac 7 sMacMask 8 dMac 9 dMacMask 23 ARP.sArpMac 24 ARP.sArpMacMask 27 ARP.dArpMac "
         "28 ARP.dArpMacMask 32 RARP.sRarpMac 33 RARP.sRarpMacMask 36 RARP.dRarpMac 37 RARP.dRarpMacMask"},
        {"10.1.2.3", "11 IPv4.sIp 13 IPv4.dIp 21 ARP.sArpIp 25 ARP.dArpIp 30 RARP.sRarpIp 34 RARP.dRarpIp"},
        {"24",
         "12 IPv4.sIpMask 14 IPv4.dIpMask 22 ARP.sArpIpMask 26 ARP.dArpIpMask 31 RARP.sRarpIpMask "
         "35 RARP.dRarpIpMask"},
        {"0f", "15 IEEE_8023.sap"},
        {"08dd", "16 IEEE_8023.type 19 VLAN.vType"},
        {"7", "17 VLAN.id 18 VLAN.priority"},
        {"a (1)|b", "3 rule_name 39 remark"},
    };
    fake.item("bfirewall", "table_size", "7");
    for (const auto &[value, columns] : families) {
        std::istringstream list(columns);
        for (std::string column, field; list >> column >> field;) {
            const std::string oid = "7.1.1." + column + ".7";
            const std::string key = "bfw_entry:6." + field;
            EXPECT_EQ(queued_by(oid, value), Items{"bfirewall " + key + "=" + value});
            fake.item("bfirewall", key, "stored");
            build();
            EXPECT_EQ(get(oid).value, "stored") << oid;
        }
    }
}

TEST_F(FirewallTest, InstancesOfASet) {
    const SetCase cases[] = {
        {"7.1.1.2.0", "1", REFUSED},          {"7.1.1.2.1.1", "1", REFUSED},
        {"7.1.1.5.0", "s.1.1", REFUSED},      {"7.1.1.10.0", "HTTP", REFUSED},
        {"7.2.1.2.0", "x", REFUSED},          {"7.2.1.2.29.1", "x", REFUSED},
        {"7.4.1.4.0", "x", REFUSED},          {"7.10.1.4.0", "1", REFUSED},
        {"7.1.1.1.9", "1", READ_ONLY_COLUMN}, {"7.2.1.1.1", "1", READ_ONLY_COLUMN},
        {"7.4.1.1.1", "1", READ_ONLY_COLUMN}, {"7.10.1.1.1", "1", READ_ONLY_COLUMN},
        {"7.3.1", "1", {"refused 0"}},
    };
    for (const auto &c : cases) EXPECT_EQ(queued_by(c.oid, c.value), c.items) << c.oid;
    EXPECT_EQ(last_row("7.1.1.2"), 0);

    // A row above the count is written, and shows as long as the tree lasts.
    EXPECT_EQ(set("7.1.1.6.9", "string \"aa-bb-cc-dd-ee-ff\""), STATUS_ACCEPTED);
    EXPECT_EQ(get("7.1.1.6.9"), (Answer{STRING, "7.1.1.6.9", "AA:BB:CC:DD:EE:FF"}));
}

TEST_F(FirewallTest, WhereTheRowCountComesFrom) {
    const char *const failed = "It is failed to use popen().\n";
    const char *const not_found = "Item not found.\n";
    const struct {
        const char *maximum, *table_size;  // null: not there
        int rows;
        bool fails, falls_back;
    } cases[] = {
        {"20", "3", 20, false, false},      {"", "3", 3, false, true},
        {nullptr, "3", 3, true, true},      {nullptr, nullptr, 0, true, true},
        {"x", "3", 0, false, false},        {nullptr, "-1", 0, true, true},
        {nullptr, "1000", 255, true, true}, {"99999999999", "3", 255, false, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.maximum ? c.maximum : "null") + " " +
                     (c.table_size ? c.table_size : "null"));
        fake = {};
        if (c.maximum) fake.environment["MAX_BFW_RULES"] = c.maximum;
        if (c.table_size) fake.item("bfirewall", "table_size", c.table_size);
        build();
        const std::string trace = traced([] { get("7.1.1.2.1"); });
        EXPECT_EQ(trace.find(failed) != std::string::npos, c.fails);
        EXPECT_EQ(trace.find(not_found) != std::string::npos, c.falls_back);
        EXPECT_EQ(last_row("7.1.1.2"), c.rows);
        EXPECT_EQ(last_row("7.1.1.1"), c.rows);
        EXPECT_EQ(last_row("7.1.1.5"), c.rows);
    }
}

TEST_F(FirewallTest, AColumnReadsEachPublishedRowOnce) {
    fake.item("bfirewall", "table_size", "1000");
    fake.items_read = 0;
    get("7.1.1.3.1");
    EXPECT_EQ(fake.items_read, 1 + 255);
    get("7.1.1.3.255");
    get("7.1.1.3.256");
    EXPECT_EQ(fake.items_read, 1 + 255) << "configuration is answered from the tree";
}

TEST_F(FirewallTest, StoredTextsAndWhatTheyShow) {
    const struct {
        const char *oid, *group, *key, *stored;
        const char *value;
    } cases[] = {
        {"7.1.1.1.2", "bfirewall", "bfw_entry:1.enabled", "enable", "2"},
        {"7.1.1.2.2", "bfirewall", "bfw_entry:1.enabled", "enable", "2"},
        {"7.1.1.4.2", "bfirewall", "bfw_entry:1.etherType", "RARP", "5"},
        {"7.1.1.4.2", "bfirewall", "", "", "0"},
        {"7.1.1.5.2", "bfirewall", "bfw_entry:1.sInterface", "ath0ap0", "s.1.1"},
        {"7.1.1.5.2", "bfirewall", "bfw_entry:1.sInterface", "ath1ap+", "s.2.0"},
        {"7.1.1.5.2", "bfirewall", "bfw_entry:1.dInterface", "ath1ap15", "d.2.16"},
        {"7.1.1.5.2", "bfirewall", "bfw_entry:1.sInterface", "ath1ap5x", "s.1.1"},
        {"7.1.1.5.2", "bfirewall", "bfw_entry:1.sInterface", "ath1ap+5", "s.1.1"},
        {"7.1.1.5.2", "bfirewall", "", "", "d.1.1"},
        {"7.1.1.20.2", "bfirewall", "bfw_entry:1.ARP.opcode", "0", "1"},
        {"7.1.1.20.2", "bfirewall", "bfw_entry:1.ARP.opcode", "-1", "0"},
        {"7.1.1.29.2", "bfirewall", "", "", "0"},
        {"7.1.1.29.2", "bfirewall", "bfw_entry:1.RARP.opcode", "2147483647", "2147483648"},
        {"7.1.1.38.2", "bfirewall", "bfw_entry:1.action", "DROP", "1"},
        {"7.1.1.38.2", "bfirewall", "", "", "2"},
        {"7.1.1.38.2", "bfirewall", "bfw_entry:1.action", "drop", "3"},
        {"7.2.1.5.6", "bfw_service", "", "", "80"},
        {"7.2.1.3.28", "bfw_service", "", "", "89"},
        {"7.2.1.2.1", "bfw_service", "", "", "ALL"},
        {"7.2.1.4.1", "bfw_service", "", "", ""},
        {"7.2.1.2.29", "bfw_service", "uds_entry:0.name", "one", "one"},
        {"7.2.1.4.30", "bfw_service", "uds_entry:1.sport", "20:21", "20:21"},
        {"7.3.0", "bfw_dai", "Snooping", "enable", "2"},
        {"7.3.0", "bfw_dai", "Snooping", "on", "1"},
        {"7.4.1.2.2", "bfw_dai", "dhcp_entry:1.dhcpMacAddr", "x", "x"},
        {"7.4.1.3.1", "bfw_dai", "dhcp_entry:0.dhcpIpAddr", "x", "x"},
        {"7.4.1.4.1", "bfw_dai", "dhcp_entry:0.remark", "x", "x"},
        {"7.5.0", "bfw_dai", "Inspection", "enable", "2"},
        {"7.6.0", "bfw_dai", "proxy_arp", "enable", "2"},
        {"7.7.0", "bfw_dai", "force_dhcp", "enable", "2"},
        {"7.8.0", "bfw_dai", "enhancement", "enable", "2"},
        {"7.9.0", "bfw_dai", "privilege", "enable", "2"},
        {"7.10.1.2.2", "bfw_dai", "privilege_entry:1.mac", "x", "x"},
        {"7.10.1.3.2", "bfw_dai", "privilege_entry:1.ip", "x", "x"},
        {"7.10.1.4.2", "bfw_dai", "privilege_entry:1.state", "enable", "2"},
    };
    for (const auto &c : cases) {
        fake = {};
        for (const auto &[group, key] : {std::pair("bfirewall", "table_size"),
                                         {"bfw_service", "table_size"},
                                         {"bfw_dai", "dtbl_size"},
                                         {"bfw_dai", "ptbl_size"}})
            fake.item(group, key, "2");
        fake.item(c.group, c.key, c.stored);
        build();
        const Answer answer = get(c.oid);
        EXPECT_EQ(answer.oid, c.oid) << c.stored;
        EXPECT_EQ(answer.value, c.value) << c.oid << " " << c.stored;
    }
}

TEST_F(FirewallTest, WhatServicesSwitchesAndListsQueue) {
    const std::string long_name(200, 'x');
    const SetCase cases[] = {
        {"7.2.1.2.28", "x", REFUSED},
        {"7.2.1.5.1", "80", REFUSED},
        {"7.2.1.2.29", long_name, {"bfw_service uds_entry:0.name=" + long_name}},
        {"7.2.1.2.40", "", {"bfw_service uds_entry:11.name="}},
        {"7.2.1.3.29", "tcp", {"bfw_service uds_entry:0.protocol=TCP"}},
        {"7.2.1.3.29", "255", {"bfw_service uds_entry:0.protocol=255"}},
        {"7.2.1.3.29", "256", REFUSED},
        {"7.2.1.3.29", "ICMP", REFUSED},
        {"7.2.1.3.29", "1a", REFUSED},
        {"7.2.1.3.29", "-0", REFUSED},
        {"7.2.1.4.30", "0", REFUSED},
        {"7.2.1.5.30", "65535", {"bfw_service uds_entry:1.dport=65535"}},
        {"7.2.1.5.30", "000080", REFUSED},
        {"7.2.1.5.30", "", {"bfw_service uds_entry:1.dport="}},
        {"7.3.0", "2", {"bfw_dai Snooping=enable"}},
        {"7.3.0", "0", REFUSED},
        {"7.9.0", "1", {"bfw_dai privilege=disable"}},
        {"7.4.1.2.3", "aa-bb-cc-dd-ee-ff", {"bfw_dai dhcp_entry:2.dhcpMacAddr=AA:BB:CC:DD:EE:FF"}},
        {"7.4.1.3.1", "10.0.0.256", REFUSED},
        {"7.4.1.3.1", "", {"bfw_dai dhcp_entry:0.dhcpIpAddr="}},
        {"7.4.1.4.1", "14-characters!", {"bfw_dai dhcp_entry:0.remark=14-characters!"}},
        {"7.4.1.4.1", "15_characters_!", REFUSED},
        {"7.10.1.2.1", "aa-bb-cc-dd-ee-ff", {"bfw_dai privilege_entry:0.mac=AA:BB:CC:DD:EE:FF"}},
        {"7.10.1.4.1", "2", {"bfw_dai privilege_entry:0.state=enable"}},
    };
    for (const auto &c : cases) EXPECT_EQ(queued_by(c.oid, c.value), c.items) << c.oid << " = " << c.value;
    get("7.2.1.3.1");
    set("7.2.1.3.29", "string \"udp\"");
    EXPECT_EQ(get("7.2.1.3.29").value, "UDP") << "the cell shows what was queued";
}

TEST_F(FirewallTest, RowCountsOfServicesAndLists) {
    const struct {
        const char *stored;
        int services, entries;
    } cases[] = {{"0", 28, 0}, {"2", 30, 2},      {"-9", 28, 0},
                 {"x", 28, 0}, {"250", 255, 250}, {"2147483647", 255, 255}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.stored);
        fake.item("bfw_service", "table_size", c.stored);
        fake.item("bfw_dai", "dtbl_size", c.stored);
        fake.item("bfw_dai", "ptbl_size", c.stored);
        build();
        EXPECT_EQ(last_row("7.2.1.1"), c.services);
        EXPECT_EQ(last_row("7.2.1.3"), c.services);
        EXPECT_EQ(last_row("7.4.1.1"), c.entries);
        EXPECT_EQ(last_row("7.10.1.4"), c.entries);
    }
}
