// The tables of zevctl while rows come and go, and what two rounds of watching make of them.
#include "zevctl/table.h"
#include "tests/client_fixture.h"
#include "zevctl/watch.h"

namespace {

using Tables = Commands;

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
