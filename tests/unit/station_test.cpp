// The station table and the lines of the radio tools.
#include <cerrno>

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
    static std::string value(int column, const std::string &row) { return get(cell(column, row)).value; }
};

// What the demo's device does not show.
TEST_F(StationTest, EdgesOfTheValues) {
    EXPECT_EQ(get(cell(1, OTHER)), (Answer{STRING, cell(1, OTHER), "00:1A:2B:3C:4D:5F"}));
    EXPECT_EQ(value(4, STATION), "5") << "the low 32 bits";
    EXPECT_EQ(value(5, OTHER), "4294967295");
    EXPECT_EQ(get(cell(9, "0.0.0.0.0.1")), NOTHING);
    zevap->sample_time = 0;
    const std::tuple<int, const char *, const char *> signals[] = {
        {0, "-95", "100"}, {95, "0", "0"}, {-1, "-96", "101"}, {INT32_MIN, "-2147483743", "2260509184"}};
    for (const auto &[rssi, signal, snr] : signals) {
        fake.stations["ath0ap0"][0].rssi = rssi;
        EXPECT_EQ(value(6, STATION), signal);
        EXPECT_EQ(value(7, STATION), snr) << rssi;
    }
    const std::pair<const char *, const char *> vids[] = {
        {"0", "4096"},          {"", "4096"},     {"4095", "4096"}, {"none", "4096"}, {"-1", "4096"},
        {"4294967297", "4096"}, {"4094", "4094"}, {"1", "1"},       {"12x", "12x"}};
    for (const auto &[vid, shown] : vids) {
        fake.item("rf1_vap1", "vid", vid);
        EXPECT_EQ(value(3, STATION), shown) << vid;
    }
    for (const auto &[channel, band] : {std::pair(14, "1"), {15, "2"}}) {
        zevap->rf_channel[0] = channel;
        EXPECT_EQ(value(8, STATION), band) << channel;
    }
}

TEST_F(StationTest, AStationSeenTwiceHasTheValuesOfTheVapWalkedLast) {
    fake.stations["ath1ap2"] = {{"00:1a:2b:3c:4d:5e", 60, 1, 2}};
    tool_prints("ath1ap2", "HEADER\n" + line_of("00:1a:2b:3c:4d:5e", "later"));
    EXPECT_EQ(value(2, STATION), "guests");
    EXPECT_EQ(value(9, STATION), "later12");
    EXPECT_EQ(walked("5.1.1.6"), Texts{cell(6, STATION) + "=-35"});
}

TEST_F(StationTest, OnlyVapsWithAnInterfaceAtTheLastRebuildTakePart) {
    make_interface(1, 6, "ath0ap5");
    root.write("/sys/class/net/ath1ap2/ifindex", "0\n");
    fake.stations["ath0ap5"] = {{"02:00:00:00:00:01"}};
    EXPECT_EQ(walked("5.1.1.6"), (Texts{cell(6, STATION) + "=-55", cell(6, OTHER) + "=5"}));
    build();
    EXPECT_EQ(walked("5.1.1.6"), (Texts{cell(6, STATION) + "=-55", cell(6, "2.0.0.0.0.1") + "=-95"}));
}

TEST_F(StationTest, AVapWithoutANameEndsTheRebuildThere) {
    make_interface(1, 8, "ath0ap7");
    build();
    fake.ifnames.erase({0, 7});
    const std::string text = traced([] {
        for (const int column : COLUMNS) {
            EXPECT_EQ(get(cell(column, OTHER)), NOTHING) << column;
            EXPECT_EQ(get(cell(column, STATION)).oid, cell(column, STATION)) << "rows built before stay";
        }
    });
    EXPECT_NE(text.find("Can't get interface name for RF=1,VAP=8\n"), std::string::npos);
    // The reply holds the row when it was met before the end.
    zevap->sample_time = 0;
    EXPECT_EQ(value(6, STATION), "-55");
}

TEST_F(StationTest, AnAddressThatIsNoneEndsTheRebuildThere) {
    zevap->sample_time = 0;
    for (const char *bad : {"", "00:1a:2b:3c:4d", "00-1a-2b-3c-4d-5f", "zz:1a:2b:3c:4d:5e"}) {
        fake.stations["ath0ap0"] = {{"00:1a:2b:3c:4d:5e", 40}, {bad, 1}, {"02:00:00:00:00:01", 1}};
        EXPECT_EQ(walked("5.1.1.6"), Texts{cell(6, STATION) + "=-55"}) << bad;
        EXPECT_EQ(walked("5.1.1.2"), Texts{cell(2, STATION) + "=office"}) << bad;
    }
    // Six numbers that cannot be a row are a station without one.
    fake.stations["ath0ap0"][1].mac = "0:0:0:0:0:-1";
    EXPECT_EQ(walked("5.1.1.6").size(), 3U);
}

TEST_F(StationTest, ARefusedSetDropsTheRowsOfItsColumn) {
    get(cell(6, STATION));
    get(cell(4, STATION));
    EXPECT_EQ(set(cell(6, STATION), "string 1"), STATUS_READ_ONLY);
    // Still within the sample time: no rows until the next rebuild.
    EXPECT_EQ(get(cell(6, STATION)), NOTHING);
    EXPECT_EQ(value(4, STATION), "5");
    zevap->sample_time = 0;
    EXPECT_EQ(value(6, STATION), "-55");
}

TEST_F(StationTest, AWalkWithinTheSampleTimeRebuildsEachColumnOnce) {
    const std::string text = traced([] { EXPECT_EQ(walked("5.1.1").size(), 2 * std::size(COLUMNS)); });
    EXPECT_EQ(root.read("/runs"), "ath0ap0 list sta\nath1ap2 list sta\nath0ap0 list sta\nath1ap2 list sta\n");
    size_t calls = 0;
    for (size_t at = 0; (at = text.find("handler AP", at)) != text.npos; at++) calls++;
    EXPECT_EQ(calls, std::size(COLUMNS));
}

TEST_F(StationTest, AWalkOfATableRebuiltAtEveryStep) {
    zevap->sample_time = 0;
    auto &stations = fake.stations["ath0ap0"];
    for (int i = 1; i <= 9; i++) stations.push_back({"02:00:00:00:00:0" + std::to_string(i), i});
    EXPECT_EQ(walked("5.1.1.6").size(), 11U) << "each row once";

    // The row last answered is gone when the walk goes on.
    const std::string second = next(next("5.1.1.6").oid).oid;
    stations.resize(1);
    EXPECT_EQ(next(second), NOTHING);
    EXPECT_EQ(walked("5.1.1.6").size(), 2U);
    fake.stations.clear();
    EXPECT_EQ(next(cell(6, STATION)), NOTHING);
    EXPECT_EQ(next("5.1.1.6").oid.substr(0, 8), "5.1.1.9.") << "on to the next column that has rows";
}

TEST_F(StationTest, AToolThatHangs) {
    root.write_tool("/sbin/wlanconfig",
                    "echo $1 >>\"$ZEVSIC_ROOT/runs\"; cat \"$ZEVSIC_ROOT/$1.txt\"; [ ! -e "
                    "\"$ZEVSIC_ROOT/hang\" ] || exec sleep 5");
    root.write("/hang", "");
    tool_time_limit = 300;
    for (const int sample_time : {0, 100}) {
        zevap->sample_time = static_cast<uint8_t>(sample_time);
        EXPECT_EQ(next("5.1.1.9"), (Answer{STRING, cell(9, STATION), "a12"})) << "the lines that came count";
    }
    EXPECT_EQ(get(cell(9, OTHER)), NOTHING) << "no time was left for the second VAP";
    EXPECT_EQ(root.read("/runs"), "ath0ap0\n") << "once a sample time";

    // A column that lacked the time because of another's tool is asked again at once, by itself.
    build();
    tool_prints("ath0ap0", "");
    EXPECT_EQ(next("5.1.1.9").oid, "7.2.1.1.1") << "nothing came, and no more time is spent";
    tool_time_limit = 10'000;
    std::filesystem::remove(root.path("/hang"));
    EXPECT_EQ(get(cell(9, OTHER)), NOTHING);
    EXPECT_EQ(value(11, OTHER), "b3");
    zevap->sample_time = 0;
    EXPECT_EQ(value(9, OTHER), "b12");

    // One that is due in the same request keeps what it shows.
    EXPECT_EQ(value(11, OTHER), "b3");
    root.write("/hang", "");
    tool_time_limit = 300;
    EXPECT_EQ(next("5.1.1.9"), (Answer{STRING, cell(11, OTHER), "b3"}));
    tool_time_limit = 10'000;
}

TEST_F(StationTest, AToolThatListsTooMany) {
    std::string lines = "HEADER\n";
    for (int i = 0; i < 5000; i++) lines += line_of(format("02:00:00:00:%02x:%02x", i / 256, i % 256), "m");
    tool_prints("ath0ap0", lines);
    testing::internal::CaptureStderr();
    EXPECT_EQ(value(9, "2.0.0.0.15.255"), "m12");
    EXPECT_EQ(get(cell(9, "2.0.0.0.16.0")), NOTHING);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("too many stations"), std::string::npos);
}

TEST_F(StationTest, WhatTheToolPrints) {
    zevap->sample_time = 0;
    const std::string good = line_of("00:1a:2b:3c:4d:5e", "x"), no_00 = line_of("10:1a:2b:3c:4d:5e", "x");
    const std::string long_field(200, 'y');
    const std::pair<std::string, std::string> cases[] = {
        // an empty time: no row
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
        {"H\n" + std::string(1022, ' ') + no_00, ""},
        {"H\n" + std::string(1021, ' ') + no_00, "x12"},
        {"H\n" + std::string(10000, 'z') + good, ""},
        {"H\n" + std::string(1000, ' ') + good, ""},
    };
    for (const auto &[printed, time] : cases) {
        tool_prints("ath0ap0", printed);
        EXPECT_EQ(value(9, STATION), time) << printed.substr(0, 100);
    }
    fake.ifnames[{0, 0}] = "a; echo 'H\n" + good + "'";
    EXPECT_EQ(get(cell(9, STATION)), NOTHING) << "a name is one word for the shell";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD) << "no tool is left behind";
}
