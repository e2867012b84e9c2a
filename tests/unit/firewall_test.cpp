// The layer-2 firewall: rules, services, switches and lists.
#include "tests/unit/agent_fixture.h"

class FirewallTest : public AgentTest {
  protected:
    static int row_count(const std::string &column) { return static_cast<int>(walked(column).size()); }
};

TEST_F(FirewallTest, WhatARuleQueues) {
    fake.item("bfw_service", "table_size", "2");
    fake.item("bfw_service", "uds_entry:0.name", "");
    fake.item("bfw_service", "uds_entry:1.name", "Own service");
    fake.item("bfw_service", "uds_entry:2.name", "Beyond");
    const std::string rule = "bfirewall bfw_entry:0.";
    expect_sets({{"7.1.1.2.255", "bfirewall bfw_entry:254.enabled=", {"1>disable", "2>enable"}, {}},
                 {"7.1.1.5.1",
                  rule,
                  {"s.2.0>sInterface=ath1ap+", "d.1.16>dInterface=ath0ap15"},
                  {"", "s", "s.1", "s.3.1", "s.0.1", "s.1.17", "x.1.1", "s.1.1x", "s.-1.1", "s1.1", "s.1."}},
                 {"7.1.1.10.1", rule + "IPv4.service=", {"HTTP", "Own service", ""}, {"http", "Beyond"}}});
}

TEST_F(FirewallTest, InstancesOfASet) {
    EXPECT_EQ(row_count("7.1.1.2"), 0);

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
        EXPECT_EQ(row_count("7.1.1.2"), c.rows);
        EXPECT_EQ(row_count("7.1.1.1"), c.rows);
        EXPECT_EQ(row_count("7.1.1.5"), c.rows);
    }
}

TEST_F(FirewallTest, StoredTextsAndWhatTheyShow) {
    const std::string rules = "bfirewall", services = "bfw_service", entry = "bfw_entry:1.";
    fake.item(rules, "table_size", "2");
    fake.item(services, "table_size", "2");
    expect_shown({{rules, entry + "sInterface", "7.1.1.5.2", {"ath0ap0>s.1.1", "ath1ap+>s.2.0"}},
                  {rules, entry + "sInterface", "7.1.1.5.2", {"ath1ap5x>s.1.1", "ath1ap+5>s.1.1"}},
                  {rules, entry + "dInterface", "7.1.1.5.2", {"ath1ap15>d.2.16"}},
                  {rules, entry + "ARP.opcode", "7.1.1.20.2", {"0>1", "-1>0"}},
                  {rules, entry + "RARP.opcode", "7.1.1.29.2", {"2147483647>2147483648"}},
                  {rules, entry + "action", "7.1.1.38.2", {"DROP>1", "drop>3"}},
                  {rules, "no key of theirs", "7.1.1.5.2", {">d.1.1"}},
                  {rules, "no key of theirs", "7.1.1.29.2", {">0"}},
                  {rules, "no key of theirs", "7.1.1.38.2", {">2"}},
                  {services, "no key of theirs", "7.2.1.5.6", {">80"}},
                  {services, "no key of theirs", "7.2.1.3.28", {">89"}},
                  {services, "no key of theirs", "7.2.1.2.1", {">ALL"}},
                  {services, "no key of theirs", "7.2.1.4.1", {""}}});
}

TEST_F(FirewallTest, WhatServicesSwitchesAndListsQueue) {
    const std::string uds = "bfw_service uds_entry:";
    expect_sets({{"7.2.1.2.28", "", {}, {"x"}},
                 {"7.2.1.5.1", "", {}, {"80"}},
                 {"7.2.1.2.40", uds + "11.name=", {"", std::string(200, 'x')}, {}},
                 {"7.2.1.3.29", uds + "0.protocol=", {"tcp>TCP", "255"}, {"256", "ICMP", "1a", "-0"}},
                 {"7.2.1.4.30", "", {}, {"0"}},
                 {"7.2.1.5.30", uds + "1.dport=", {"65535", ""}, {"000080"}}});
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
        EXPECT_EQ(row_count("7.2.1.1"), c.services);
        EXPECT_EQ(row_count("7.2.1.3"), c.services);
        EXPECT_EQ(row_count("7.4.1.1"), c.entries);
        EXPECT_EQ(row_count("7.10.1.4"), c.entries);
        const int reads = fake.items_read;
        EXPECT_EQ(set("7.1.1.10.1", "string \"no such service\""), STATUS_WRONG_VALUE);
        EXPECT_LE(fake.items_read - reads, 1 + c.services - 28) << "names of rows that the table cannot have";
    }
}
