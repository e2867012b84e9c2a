// What zevctl watch makes of two rounds of the station table.
#include "client/watch.h"

#include <gtest/gtest.h>

// A row: the values of the columns with these numbers, the others absent.
static std::vector<std::string> cells(const std::map<int, std::string> &values) {
    std::vector<std::string> row(station_columns().size());
    for (size_t i = 0; i < row.size(); i++) {
        const std::string oid = station_columns()[i]->oid;
        const auto value = values.find(atoi(oid.substr(oid.rfind('.') + 1).c_str()));
        if (value != values.end()) row[i] = value->second;
    }
    return row;
}

static std::string joined(const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) text += line + "\n";
    return text;
}

// The addresses in the order of the lines.
static std::string order(const Stations &now, const char *sort) {
    std::string text;
    for (const std::string &line : round_lines(nullptr, now, find_station_column(sort)))
        if (const size_t at = line.find("02:"); at != std::string::npos) text += line.substr(at + 3, 1);
    return text;
}

TEST(Watch, ShowsWhatChanged) {
    const Stations before = {{"1", cells({{1, "02:a"}, {4, "4294967000"}, {5, "10"}, {8, "2"}})},
                             {"2", cells({{1, "02:b"}, {4, "5"}, {5, "7"}})},
                             {"4", cells({{1, "02:d"}, {4, "1000000"}, {5, "1"}})}};
    const Stations now = {{"1", cells({{1, "02:a"}, {4, "704"}, {5, "10"}, {8, "2"}})},
                          {"3", cells({{1, "02:c"}, {4, "9"}, {5, "9"}, {2, "a\x1b[31m"}})},
                          {"4", cells({{1, "02:d"}, {4, "100"}, {5, "3"}})}};
    EXPECT_EQ(joined(round_lines(&before, now, nullptr)),
              "3 stations, 1 new, 1 gone, TxBytes +1100, RxBytes +2\n"
              "      MACAddress  SSIDName   VlanId  TxBytes    RxBytes  SignalStrength  SNR  BandCheck  "
              "ConnectionTime  TransmitRate\n"
              "      02:a        -          -       704 +1000  10       -               -    5GHz       "
              "-               -\n"
              "gone  02:b        -          -       5          7        -               -    -          "
              "-               -\n"
              "new   02:c        a\\x1b[31m  -       9          9        -               -    -          "
              "-               -\n"
              "      02:d        -          -       100 +100   3 +2     -               -    -          "
              "-               -\n");
    EXPECT_EQ(round_lines(nullptr, now, nullptr)[0], "3 stations, 0 new, 0 gone, TxBytes +0, RxBytes +0");
    EXPECT_EQ(round_lines(&now, {}, nullptr).size(), 5U);
}

TEST(Watch, SortsByAColumn) {
    const Stations now = {{"1", cells({{1, "02:a"}, {4, "9"}, {6, "-60"}, {11, "26M"}, {2, "x"}})},
                          {"2", cells({{1, "02:b"}, {4, "10"}, {6, "-9"}, {11, "130M"}, {2, "7"}})},
                          {"3", cells({{1, "02:c"}, {6, "-70"}, {11, "6M"}})}};
    const struct {
        const char *column, *order;
    } cases[] = {
        {"TxBytes", "bac"}, {"signal", "bac"}, {"APStaTransmitRate", "bac"}, {"ssid", "bac"}, {"mac", "abc"}};
    for (const auto &c : cases) EXPECT_EQ(order(now, c.column), c.order) << c.column;
    for (const char *none : {"T", "", "nothing", "APSysName"})
        EXPECT_EQ(find_station_column(none), nullptr) << none;
}
