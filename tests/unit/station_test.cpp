// The station table and the lines of the radio tools.
#include <sys/wait.h>

#include <cerrno>

#include "platform/device.h"
#include "tests/unit/agent_fixture.h"

static const char *const STATION = "0.26.43.60.77.94";  // 00:1a:2b:3c:4d:5e
static const char *const OTHER = "0.26.43.60.77.95";
static constexpr int COLUMNS[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 11};

static std::string cell(int column, const std::string &row) {
    return "5.1.1." + std::to_string(column) + "." + row;
}

static std::string line_of(const std::string &address, const std::string &mark) {
    std::string line = address;
    for (int i = 1; i <= 13; i++) line += " " + mark + std::to_string(i);
    return line + "\n";
}

class StationTest : public AgentTest {
  protected:
    StationTest() {
        prepare_tools();
        make_interface(1, 1, "ath0ap0");
        make_interface(2, 3, "ath1ap2");
        fake.system_items = {{"rf1_ch", "14"}, {"rf2_ch", "15"}};
        fake.item("rf1_vap1", "ssid", "office");
        fake.item("rf2_vap3", "ssid", "guests");
        fake.stations["ath0ap0"] = {{"00:1a:2b:3c:4d:5e", 40, (1ULL << 32) + 5, 7}};
        fake.stations["ath1ap2"] = {{"00:1A:2B:3C:4D:5F", 100, 1, UINT64_MAX}};
        tool_prints("ath0ap0", "HEADER\n" + line_of("00:1a:2b:3c:4d:5e", "a"));
        tool_prints("ath1ap2", "HEADER\n" + line_of("00:1a:2b:3c:4d:5f", "b"));
        root.write_tool("/sbin/wlanconfig",
                        "cat \"$ZEVSIC_ROOT/$1.txt\" 2>/dev/null; echo \"$*\" >>\"$ZEVSIC_ROOT/runs\"");
        build();
    }

    void tool_prints(const std::string &ifname, const std::string &text) const {
        root.write("/" + ifname + ".txt", text);
    }
    static std::vector<std::string> walk(const std::string &from) {
        std::vector<std::string> oids;
        for (std::string at = from; oids.size() < 100;) {
            at = next(at).oid;
            if (!at.starts_with(from + ".")) break;
            oids.push_back(at);
        }
        return oids;
    }
};

TEST_F(StationTest, EachColumnOfTwoStations) {
    const struct {
        int column, type;
        const char *first, *second;
    } cases[] = {
        {1, STRING, "00:1a:2b:3c:4d:5e", "00:1A:2B:3C:4D:5F"},
        {2, STRING, "office", "guests"},
        {3, INTEGER, "4096", "4096"},
        {4, INTEGER, "5", "1"},
        {5, INTEGER, "7", "4294967295"},
        {6, STRING, "-55", "5"},
        {7, STRING, "57", "-5"},
        {8, INTEGER, "1", "2"},
        {9, STRING, "a12", "b12"},
        {11, STRING, "a3", "b3"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(get(cell(c.column, STATION)), (Answer{c.type, cell(c.column, STATION), c.first}));
        EXPECT_EQ(get(cell(c.column, OTHER)), (Answer{c.type, cell(c.column, OTHER), c.second}));
    }
    EXPECT_EQ(get(cell(9, "0.0.0.0.0.1")), (Answer{0, "", ""}));
}

TEST_F(StationTest, EdgesOfTheValues) {
    zevap->sample_time = 0;
    const struct {
        int rssi;
        const char *signal, *snr;
    } signals[] = {
        {0, "-95", "100"}, {95, "0", "0"}, {-1, "-96", "101"}, {INT32_MIN, "-2147483743", "2260509184"}};
    for (const auto &c : signals) {
        fake.stations["ath0ap0"][0].rssi = c.rssi;
        EXPECT_EQ(get(cell(6, STATION)).value, c.signal);
        EXPECT_EQ(get(cell(7, STATION)).value, c.snr) << c.rssi;
    }
    const struct {
        const char *vid, *shown;
    } vids[] = {{"0", "4096"},          {"", "4096"},     {"4095", "4096"}, {"none", "4096"}, {"-1", "4096"},
                {"4294967297", "4096"}, {"4094", "4094"}, {"1", "1"},       {"12x", "12x"}};
    for (const auto &c : vids) {
        fake.item("rf1_vap1", "vid", c.vid);
        EXPECT_EQ(get(cell(3, STATION)).value, c.shown) << c.vid;
    }
    zevap->rf_channel[0] = 36;
    EXPECT_EQ(get(cell(8, STATION)).value, "2");
}

TEST_F(StationTest, AStationSeenTwiceHasTheValuesOfTheVapWalkedLast) {
    fake.stations["ath1ap2"] = {{"00:1a:2b:3c:4d:5e", 60, 1, 2}};
    tool_prints("ath1ap2", "HEADER\n" + line_of("00:1a:2b:3c:4d:5e", "later"));
    EXPECT_EQ(get(cell(6, STATION)).value, "-35");
    EXPECT_EQ(get(cell(2, STATION)).value, "guests");
    EXPECT_EQ(get(cell(9, STATION)).value, "later12");
    EXPECT_EQ(walk("5.1.1.6"), std::vector<std::string>{cell(6, STATION)});
}

TEST_F(StationTest, OnlyVapsWithAnInterfaceAtTheLastRebuildTakePart) {
    make_interface(1, 6, "ath0ap5");
    root.write("/sys/class/net/ath1ap2/ifindex", "0\n");
    fake.stations["ath0ap5"] = {{"02:00:00:00:00:01"}};
    EXPECT_EQ(walk("5.1.1.6"), (std::vector{cell(6, STATION), cell(6, OTHER)}));
    build();
    EXPECT_EQ(walk("5.1.1.6"), (std::vector{cell(6, STATION), cell(6, "2.0.0.0.0.1")}));
}

TEST_F(StationTest, AVapWithoutANameEndsTheRebuildThere) {
    make_interface(1, 8, "ath0ap7");
    fake.stations["ath0ap7"] = {{"02:00:00:00:00:01", 40}};
    build();
    fake.ifnames.erase({0, 7});
    const std::string text = traced([] {
        for (const int column : COLUMNS) {
            EXPECT_EQ(get(cell(column, OTHER)), (Answer{0, "", ""})) << column;
            EXPECT_EQ(get(cell(column, STATION)).oid, cell(column, STATION)) << "rows built before stay";
        }
    });
    EXPECT_NE(text.find("Can't get interface name for RF=1,VAP=8\n"), std::string::npos);
    // The reply holds the row when it was met before the end.
    zevap->sample_time = 0;
    EXPECT_EQ(get(cell(6, STATION)), (Answer{STRING, cell(6, STATION), "-55"}));
}

TEST_F(StationTest, AnAddressThatIsNoneEndsTheRebuildThere) {
    for (const char *bad : {"", "00:1a:2b:3c:4d", "00-1a-2b-3c-4d-5f", "zz:1a:2b:3c:4d:5e"}) {
        fake.stations["ath0ap0"] = {{"00:1a:2b:3c:4d:5e", 40}, {bad, 1}, {"02:00:00:00:00:01", 1}};
        zevap->sample_time = 0;
        EXPECT_EQ(get(cell(6, STATION)).value, "-55") << bad;
        EXPECT_EQ(walk("5.1.1.6"), std::vector<std::string>{cell(6, STATION)}) << bad;
        EXPECT_EQ(walk("5.1.1.2"), std::vector<std::string>{cell(2, STATION)}) << bad;
    }
    // Six numbers that cannot be a row are a station without one.
    fake.stations["ath0ap0"][1].mac = "0:0:0:0:0:-1";
    EXPECT_EQ(walk("5.1.1.6"),
              (std::vector<std::string>{cell(6, STATION), cell(6, OTHER), cell(6, "2.0.0.0.0.1")}));
}

TEST_F(StationTest, ARefusedSetDropsTheRowsOfItsColumn) {
    get(cell(6, STATION));
    get(cell(4, STATION));
    EXPECT_EQ(set(cell(6, STATION), "string 1"), STATUS_READ_ONLY);
    // Still within the sample time: no rows until the next rebuild.
    EXPECT_EQ(get(cell(6, STATION)), (Answer{0, "", ""}));
    EXPECT_EQ(get(cell(4, STATION)).value, "5");
    zevap->sample_time = 0;
    EXPECT_EQ(get(cell(6, STATION)).value, "-55");
}

TEST_F(StationTest, AWalkWithinTheSampleTimeRebuildsEachColumnOnce) {
    std::vector<std::string> expected;
    for (const int column : COLUMNS)
        for (const char *row : {STATION, OTHER}) expected.push_back(cell(column, row));
    std::vector<std::string> oids;
    const std::string text = traced([&] { oids = walk("5.1.1"); });
    EXPECT_EQ(oids, expected);
    EXPECT_EQ(root.read("/runs"), "ath0ap0 list sta\nath1ap2 list sta\nath0ap0 list sta\nath1ap2 list sta\n");
    for (const Object &object : OBJECTS) {
        if (!std::string_view(object.oid).starts_with("5.1.1.")) continue;
        const std::string call = std::string("handler ") + object.name + ":";
        EXPECT_NE(text.find(call), std::string::npos);
        EXPECT_EQ(text.find(call), text.rfind(call)) << "one call of " << object.name;
    }
}

TEST_F(StationTest, AWalkOfATableRebuiltAtEveryStep) {
    zevap->sample_time = 0;
    auto &stations = fake.stations["ath0ap0"];
    for (int i = 1; i <= 9; i++) stations.push_back({"02:00:00:00:00:0" + std::to_string(i), i});
    EXPECT_EQ(walk("5.1.1.6").size(), 11U) << "each row once";

    // The row last answered is gone when the walk goes on.
    std::string at = next("5.1.1.6").oid;
    at = next(at).oid;
    stations.resize(1);
    EXPECT_EQ(next(at), (Answer{0, "", ""}));
    EXPECT_EQ(walk("5.1.1.6").size(), 2U);
    fake.stations.clear();
    EXPECT_EQ(next(cell(6, STATION)), (Answer{0, "", ""}));
    EXPECT_EQ(next("5.1.1.6").oid.substr(0, 8), "5.1.1.9.") << "on to the next column that has rows";
}

TEST_F(StationTest, AToolThatHangs) {
    root.write_tool("/sbin/wlanconfig",
                    "cat \"$ZEVSIC_ROOT/$1.txt\"; [ ! -e \"$ZEVSIC_ROOT/hang\" ] || exec sleep 60");
    root.write("/hang", "");
    tool_time_limit = 300;
    for (const int sample_time : {100, 0}) {
        zevap->sample_time = static_cast<uint8_t>(sample_time);
        EXPECT_EQ(next("5.1.1.9"), (Answer{STRING, cell(9, STATION), "a12"})) << "the lines that came count";
        EXPECT_EQ(get(cell(9, OTHER)).status, 0) << "no time was left for the second VAP";
    }
    tool_time_limit = 10'000;
    zevap->sample_time = 100;
    std::filesystem::remove(root.path("/hang"));
    EXPECT_EQ(get(cell(9, OTHER)).value, "b12") << "the next request tries again";
    EXPECT_EQ(get(cell(9, STATION)).value, "a12");
}

TEST_F(StationTest, AToolThatListsTooMany) {
    std::string lines = "HEADER\n";
    for (int i = 0; i < 5000; i++) {
        char address[18];
        snprintf(address, sizeof address, "02:00:00:00:%02x:%02x", i / 256, i % 256);
        lines += line_of(address, "m");
    }
    tool_prints("ath0ap0", lines);
    testing::internal::CaptureStderr();
    EXPECT_EQ(get(cell(9, "2.0.0.0.15.255")).value, "m12");
    EXPECT_EQ(get(cell(9, "2.0.0.0.16.0")).status, 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("too many stations"), std::string::npos);
}

TEST_F(StationTest, WhatTheToolPrints) {
    zevap->sample_time = 0;
    const std::string good = line_of("00:1a:2b:3c:4d:5e", "x");
    const std::string long_field(200, 'y');
    const struct {
        std::string printed, time;  // an empty time: no row
    } cases[] = {
        {"", ""},
        {good, ""},  // the header, whatever it looks like
        {std::string(5000, 'H') + "\n" + good, "x12"},
        {"H\n" + good.substr(0, good.size() - 1), "x12"},  // no newline at the end
        {"H\n00:1a:2b:3c:4d:5e 1 2 3 4 5 6 7 8 9 10 11 12\n", ""},
        {"H\n00:1a:2b:3c:4d:5e 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n", "12"},
        {"H\n00:1a:2b:3c:4d:5e 1\t2\v3\f4\r5 6 7 8 9 10 " + long_field + " 12 13\n", "12"},
        {"H\n00:1a:2b:3c:4d:5e 1 2 3 4 5 6 7 8 9 10 11 " + long_field + " 13\n", std::string(31, 'y')},
        {"H\n  0:1A:2b:3c:4d:5e1 2 3 4 5 6 7 8 9 10 11 \x01\xff 13\n", "\x01\xff"},
        {"H\n00:1a:2b:3c:4d:5e 1 2" + std::string("\0", 1) + " 3 4 5 6 7 8 9 10 11 12 13\n", ""},
        {"H\n00:1a:2b:3c:4d:-5 1 2 3 4 5 6 7 8 9 10 11 12 13\n", ""},
        // A line that is longer than a piece goes on as another line.
        {"H\n" + std::string(1022, ' ') + good, "x12"},
        {"H\n" + std::string(1022, ' ') + line_of("10:1a:2b:3c:4d:5e", "x"), ""},
        {"H\n" + std::string(1021, ' ') + line_of("10:1a:2b:3c:4d:5e", "x"), "x12"},
        {"H\n" + std::string(10000, 'z') + good, ""},
        {"H\n" + std::string(1000, ' ') + good, ""},
    };
    for (const auto &c : cases) {
        tool_prints("ath0ap0", c.printed);
        EXPECT_EQ(get(cell(9, STATION)).value, c.time) << c.printed.substr(0, 100);
    }
    fake.ifnames[{0, 0}] = "a; echo 'H\n" + good + "'";
    EXPECT_EQ(get(cell(9, STATION)).status, 0) << "a name is one word for the shell";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD) << "no tool is left behind";
}
