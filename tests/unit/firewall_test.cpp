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
    expect_sets({{"7.1.1.2.255", "bfirewall bfw_entry:254.enabled=", {"2>enable"}, {}},
                 {"7.1.1.5.1",
                  rule,
                  {"s.2.0>sInterface=ath1ap+", "d.1.16>dInterface=ath0ap15"},
                  {"", "s", "s.1", "s.3.1", "s.0.1", "s.1.17", "x.1.1", "s.1.1x", "s.-1.1", "s1.1", "s.1."}},
                 {"7.1.1.10.1", rule + "IPv4.service=", {"HTTP", "Own service", ""}, {"http", "Beyond"}}});
}

TEST_F(FirewallTest, ARowAboveTheCountIsWrittenAndShowsAsLongAsTheTreeLasts) {
    EXPECT_EQ(row_count("7.1.1.2"), 0);
    EXPECT_EQ(set("7.1.1.6.9", "string \"aa-bb-cc-dd-ee-ff\""), STATUS_ACCEPTED);
    EXPECT_EQ(get("7.1.1.6.9").value, "AA:BB:CC:DD:EE:FF");
}

TEST_F(FirewallTest, WhereTheRowCountComesFrom) {
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
        EXPECT_EQ(trace.find("It is failed to use popen().\n") != std::string::npos, c.fails);
        EXPECT_EQ(trace.find("Item not found.\n") != std::string::npos, c.falls_back);
        for (const char *column : {"7.1.1.1", "7.1.1.2", "7.1.1.5"}) EXPECT_EQ(row_count(column), c.rows);
    }
}

TEST_F(FirewallTest, StoredInterfacesAndWhatTheyShow) {
    fake.item("bfirewall", "table_size", "2");
    expect_shown({{"bfirewall",
                   "bfw_entry:1.sInterface",
                   "7.1.1.5.2",
                   {"ath0ap0>s.1.1", "ath1ap+>s.2.0", "ath1ap5x>s.1.1", "ath1ap+5>s.1.1"}},
                  {"bfirewall", "bfw_entry:1.dInterface", "7.1.1.5.2", {"ath1ap15>d.2.16", ">d.1.1"}},
                  {"bfirewall", "bfw_entry:1.RARP.opcode", "7.1.1.29.2", {"2147483647>2147483648"}}});
}

TEST_F(FirewallTest, WhatAServiceQueues) {
    const std::string uds = "bfw_service uds_entry:";
    expect_sets({{"7.2.1.2.28", "", {}, {"x"}},
                 {"7.2.1.5.1", "", {}, {"80"}},
                 {"7.2.1.2.40", uds + "11.name=", {"", std::string(200, 'x')}, {}},
                 {"7.2.1.3.29", uds + "0.protocol=", {"255"}, {"256", "-0"}},
                 {"7.2.1.5.30", uds + "1.dport=", {"65535", ""}, {"0", "000080"}}});
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
        for (const char *key : {"dtbl_size", "ptbl_size"}) fake.item("bfw_dai", key, c.stored);
        build();
        for (const char *column : {"7.2.1.1", "7.2.1.3"}) EXPECT_EQ(row_count(column), c.services);
        for (const char *column : {"7.4.1.1", "7.10.1.4"}) EXPECT_EQ(row_count(column), c.entries);
        const int reads = fake.items_read;
        EXPECT_EQ(set("7.1.1.10.1", "string \"no such service\""), STATUS_WRONG_VALUE);
        EXPECT_LE(fake.items_read - reads, 1 + c.services - 28) << "names of rows that the table cannot have";
    }
}
