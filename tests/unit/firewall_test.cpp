// The layer-2 firewall: rules, services, switches and lists.
#include "tests/unit/agent_fixture.h"

class FirewallTest : public AgentTest {
  protected:
    static int row_count(const std::string &column) { return static_cast<int>(walked(column).size()); }
};

TEST_F(FirewallTest, ARuleNamesInterfacesAndServicesThatThereAre) {
    fake.item("bfw_service", "table_size", "2");
    fake.item("bfw_service", "uds_entry:0.name", "");
    fake.item("bfw_service", "uds_entry:1.name", "Own service");
    fake.item("bfw_service", "uds_entry:2.name", "Beyond");
    const std::string rule = "bfirewall bfw_entry:0.";
    expect_sets({{"7.2.1.2.28", "", {}, {"x"}},  // services that are predefined
                 {"7.2.1.5.1", "", {}, {"80"}},
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
    const std::tuple<const char *, const char *, int> cases[] = {
        // null: not there
        {"20", "3", 20}, {"", "3", 3},       {nullptr, "3", 3},      {nullptr, nullptr, 0},
        {"x", "3", 0},   {nullptr, "-1", 0}, {nullptr, "1000", 255}, {"99999999999", "3", 255},
    };
    for (const auto &[maximum, table_size, rows] : cases) {
        SCOPED_TRACE(format("%s %s", maximum ? maximum : "none", table_size ? table_size : "none"));
        fake = {};
        if (maximum) fake.environment["MAX_BFW_RULES"] = maximum;
        if (table_size) fake.item("bfirewall", "table_size", table_size);
        build();
        const std::string trace = traced([] { get("7.1.1.2.1"); });
        EXPECT_EQ(trace.find("It is failed to use popen().\n") != std::string::npos, !maximum);
        EXPECT_EQ(trace.find("Item not found.\n") != std::string::npos, !maximum || !*maximum);
        for (const char *column : {"7.1.1.1", "7.1.1.2", "7.1.1.5"}) EXPECT_EQ(row_count(column), rows);
    }
}

TEST_F(FirewallTest, StoredInterfacesAndWhatTheyShow) {
    fake.item("bfirewall", "table_size", "2");
    const std::string entry = "bfw_entry:1.";
    EXPECT_EQ(shown("7.1.1.5.2", "bfirewall", entry + "dInterface", "ath1ap15"), "d.2.16");
    EXPECT_EQ(shown("7.1.1.5.2", "bfirewall", entry + "dInterface", ""), "d.1.1");
    for (const auto &[stored, value] :
         {std::pair("ath0ap0", "s.1.1"), {"ath1ap+", "s.2.0"}, {"ath1ap3.20", "s.2.4"}, {"ath+ap+", "s.1.1"}})
        EXPECT_EQ(shown("7.1.1.5.2", "bfirewall", entry + "sInterface", stored), value) << stored;
    EXPECT_EQ(shown("7.1.1.29.2", "bfirewall", entry + "RARP.opcode", "2147483647"), "2147483648");
}

TEST_F(FirewallTest, RowCountsOfServicesAndLists) {
    const std::tuple<const char *, int, int> cases[] = {
        {"0", 28, 0}, {"2", 30, 2}, {"-9", 28, 0}, {"x", 28, 0}, {"250", 255, 250}, {"2147483647", 255, 255}};
    for (const auto &[stored, services, entries] : cases) {
        SCOPED_TRACE(stored);
        fake.item("bfw_service", "table_size", stored);
        for (const char *key : {"dtbl_size", "ptbl_size"}) fake.item("bfw_dai", key, stored);
        build();
        for (const char *column : {"7.2.1.1", "7.2.1.3"}) EXPECT_EQ(row_count(column), services);
        for (const char *column : {"7.4.1.1", "7.10.1.4"}) EXPECT_EQ(row_count(column), entries);
        const int reads = fake.items_read;
        EXPECT_EQ(set("7.1.1.10.1", "string \"no such service\""), STATUS_WRONG_VALUE);
        EXPECT_LE(fake.items_read - reads, 1 + services - 28) << "names of rows that the table cannot have";
    }
}
