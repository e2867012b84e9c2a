// The radio table: configuration and statistics; the counters that these are made of.
#include "handler/counters.h"
#include "tests/unit/agent_fixture.h"

class RadioTest : public AgentTest {
  protected:
    static std::string value(const std::string &oid) { return get("2.1.1." + oid).value; }
};

TEST_F(RadioTest, ASetQueuesTheStoresUnitsAndBothRadiosForTheDevice) {
    fake.item("rf1_wds8", "state", "enable");  // a radio with a link keeps a fixed channel
    expect_sets(
        {{"2.1.1.10.1", "rf1 channel=", {"6"}, {"auto"}},
         {"2.1.1.10.2", "rf2 channel=", {"auto"}, {}},
         {"2.1.1.18.1", "rf1 packet_delay_threshold=", {"100>100000", "x>0", ">0"}, {"99", "100x"}},
         {"2.1.1.20.2", "rf1 band_steering=", {"2>enable + rf2 band_steering=enable"}, {"0"}},
         // a setting of the device, whatever the row
         {"2.1.1.20.7", "rf1 band_steering=", {"2>enable + rf2 band_steering=enable"}, {}},
         {"2.1.1.21.1.1", "rf1 aggr_band_steering=", {"1>disable + rf2 aggr_band_steering=disable"}, {"0"}}});
    EXPECT_EQ(fake.steering_calls, Texts(4, "enable -1 -1 - -"));
}

TEST_F(RadioTest, BandFollowsTheRadioAndResetsWhatItCannotHave) {
    fake.capability[1] = CAPABILITY_11AC;
    const std::string rest = " + rf1 puren=disable + rf1 ch_width=20 + rf1 rate=auto";
    expect_sets({{"2.1.1.3.1", "rf1 state=disable + rf1 channel=auto", {"0>" + rest}, {"1", "5", "7"}},
                 {"2.1.1.3.1",
                  "rf1 state=enable + rf1 mode=",
                  {"2>11b" + rest, "3>11g" + rest, "4>auto" + rest, "6>11ng", " 6x>11ng"},
                  {}},
                 {"2.1.1.3.2",
                  "rf2 state=enable + rf2 mode=",
                  {"5>11na", "7>11ac + rf2 puren=disable"},
                  {"2", "3", "4", "6"}},
                 {"2.1.1.7.2", "rf2 ch_width=", {"4>80"}, {}}});
    fake.capability[1] = ~CAPABILITY_11AC;
    expect_sets({{"2.1.1.3.2", "", {}, {"7"}}, {"2.1.1.7.2", "rf2 ch_width=", {"2>40"}, {"4"}}});
    EXPECT_EQ(shown("2.1.1.3.1", "rf1", "mode", "11na"), "5");
    EXPECT_EQ(shown("2.1.1.3.1", "rf1", "mode", "11x"), "0");
}

TEST_F(RadioTest, RatesFollowTheTransmitChains) {
    fake.chain_mask[0] = 1;
    fake.chain_mask[1] = 15;  // four chains: the rates end before
    expect_sets({{"2.1.1.12.1", "rf1 rate=", {"20>mcs7", "37>65532"}, {"5", "21", "40"}},
                 {"2.1.1.12.2", "rf2 rate=", {"36>mcs23", "45>65514"}, {"46"}}});
    fake.item("rf1", "state", "disable");
    expect_sets({{"2.1.1.12.1", "rf1 rate=", {"0>auto"}, {"13"}}});
    std::istringstream rates(
        "auto 1M 2M 5.5M 11M 6M 9M 12M 18M 24M 36M 48M 54M mcs0 mcs1 mcs2 mcs3 mcs4 mcs5 mcs6 mcs7 mcs8 mcs9 "
        "mcs10 mcs11 mcs12 mcs13 mcs14 mcs15 mcs16 mcs17 mcs18 mcs19 mcs20 mcs21 mcs22 mcs23 65532 65533 "
        "65534 65520 65525 65530 65472 65493 65514");
    int number = 0;
    for (std::string rate; rates >> rate;)
        EXPECT_EQ(shown("2.1.1.12.2", "rf2", "rate", rate), std::to_string(number++));
    EXPECT_EQ(number, 46);
}

TEST_F(RadioTest, TransmitPowerAsALevel) {
    fake.item("rf1", "txpwr_customized_lv", "2");
    fake.item("rf1", "txpwr", "9");
    EXPECT_EQ(value("13.1"), "3");
    expect_sets({{"2.1.1.13.1", "rf1 txpwr_customized_lv=", {"1>0", "99>7"}, {"0"}}});
    EXPECT_EQ(value("13.1"), "8") << "the row shows what the radio can do";
    EXPECT_NE(
        traced([] { set("2.1.1.13.1", "integer 9"); }).find("\nset_val is too large,change set_val to 7\n"),
        std::string::npos);
}

TEST_F(RadioTest, TransmitPowerOfTheOlderForm) {
    fake.txpower_levels[0] = 13;
    // stored, shown on radio 1 and on radio 2, which has fewer levels
    const char *const stored[][3] = {{"17", "1", "1"}, {"16", "1", "1"}, {"13", "4", "4"},
                                     {"1", "13", "8"}, {"0", "1", "1"},  {"99", "1", "1"}};
    for (const auto &[text, first, second] : stored) {
        EXPECT_EQ(shown("2.1.1.13.1", "rf1", "txpwr", text), first) << text;
        EXPECT_EQ(shown("2.1.1.13.2", "rf2", "txpwr", text), second) << text;
    }
    const char *const writes[][3] = {// written, queued, shown
                                     {"3", "17", "1"},
                                     {"4", "13", "4"},
                                     {"6", "13", "4"},
                                     {"13", "1", "13"},
                                     {"500", "1", "13"}};
    for (const auto &[written, item, shows] : writes) {
        EXPECT_EQ(queued_by("2.1.1.13.1", written), std::string("rf1 txpwr=") + item);
        EXPECT_EQ(value("13.1"), shows) << written;
    }
    fake.working.erase("rf1 txpwr");
    EXPECT_EQ(queued_by("2.1.1.13.1", "4"), "");
    build();
    EXPECT_EQ(value("13.1"), "1") << "full power when the store says nothing";
}

TEST_F(RadioTest, BeaconIntervalGrowsWithTheEnabledVaps) {
    fake.item("rf1", "beacon", "200");
    const std::tuple<int, const char *, const char *> cases[] = {
        {4, "100", "100"}, {5, "100", "250"}, {8, "300", "300"}, {9, "100", "500"}, {9, "500", "500"}};
    get("2.1.1.16.1");
    for (const auto &[enabled, written, item] : cases) {
        for (int vap = 1; vap <= enabled; vap++)
            fake.item("rf1_vap" + std::to_string(vap), "state", "enable");
        EXPECT_EQ(queued_by("2.1.1.16.1", written), std::string("rf1 beacon=") + item);
        EXPECT_EQ(value("16.1"), written) << "the row shows what was written";
    }
    std::string on_all_vaps = "rf2_vap1 beacon=100";
    for (int vap = 2; vap <= 16; vap++) on_all_vaps += " + rf2_vap" + std::to_string(vap) + " beacon=100";
    EXPECT_EQ(queued_by("2.1.1.16.2", "100"), on_all_vaps);
    EXPECT_EQ(shown("2.1.1.16.2", "rf2_vap1", "beacon", "150"), "150");
}

TEST_F(RadioTest, AvailableChannelsComeFromTheCountryAndTheBand) {
    root.write("/etc/rc.d/country_code", "US=840\nZERO=0\n");
    root.write("/etc/allowed_channel",
               "c840_11na='36 40'\nc840_11nal='40'\nc840_11nau='36'\nc840_11ac80='36'\nc840_bad='36 x'\n");
    const auto channels = [](const char *country, const char *mode, const char *width,
                             const char *extension) {
        fake.item("rf1", "country", country);
        fake.item("rf1", "mode", mode);
        fake.item("rf1", "ch_width", width);
        return shown("2.1.1.9.1", "rf1", "chwidth_ext", extension);
    };
    EXPECT_EQ(channels("US", "11na", "20", "l"), "0 36 40");
    EXPECT_EQ(channels("US", "11na", "40", "l"), "0 40");
    EXPECT_EQ(channels("US", "11na", "40static", "u"), "0 36");
    EXPECT_EQ(channels("US", "11ac", "80", "u"), "0 36");
    for (const char *mode : {"11ng", "bad", "x; touch $ZEVSIC_ROOT/tmp/x", "$(touch $ZEVSIC_ROOT/tmp/x)"})
        EXPECT_EQ(channels("US", mode, "20", ""), "Invalid allowed channel list") << mode;
    for (const char *country : {"ZERO", "XX", "", "US;touch $ZEVSIC_ROOT/tmp/x", "`touch $ZEVSIC_ROOT/tmp/x`",
                                "US\ntouch $ZEVSIC_ROOT/tmp/x", "1US", "{US}", "\xc3\xa9"})
        EXPECT_EQ(channels(country, "11na", "20", ""), "Getting country code failed.") << country;
    EXPECT_FALSE(root.has("/tmp/x")) << "stored texts are no commands";
}

TEST_F(RadioTest, ChannelFiguresComeFromTheTool) {
    const char *const cases[][4] = {
        {"50 rx_clear_rate\\n20 rx_frame_rate\\n15 tx_frame_rate\\n", "20", "15", "50"},
        {"30 rx_clear_rate\\n20 rx_frame_rate\\n15 tx_frame_rate\\n", "20", "0", "30"},
        {"  7%% rx_clear_rate\\n1 rx_frame_rates\\n", "0", "7", "7%"}};
    prepare_tools();
    zevap->sample_time = 0;
    for (const auto &[lines, cci, aci, wdi] : cases) {
        root.write_tool("/sbin/athstats", std::string("[ \"$*\" = '-i wifi0' ] && printf '") + lines + "'");
        EXPECT_EQ(value("48.1"), cci) << lines;
        EXPECT_EQ(value("49.1"), aci) << lines;
        EXPECT_EQ(value("50.1"), wdi) << lines;
        EXPECT_EQ(value("50.2"), "0");
    }
}

TEST_F(RadioTest, StationsOfEnabledVapsInTheKernel) {
    for (const int vap : {1, 2, 4}) make_interface(1, vap);
    for (const char *group : {"rf1_vap1", "rf1_vap3", "rf1_vap4"}) fake.item(group, "state", "enable");
    fake.system_items = {
        {"rf1_vap1_sta", "3"}, {"rf1_vap2_sta", "10"}, {"rf1_vap3_sta", "20"}, {"rf1_vap4_sta", "4"}};
    build();
    EXPECT_EQ(value("45.1"), "7");
    EXPECT_EQ(value("45.2"), "0");
}

TEST_F(RadioTest, OctetsAreSummedInSixtyFourBits) {
    prepare_tools();
    root.write_tool("/sbin/ifconfig", "echo 'RX bytes:9000000000 (8.3 GiB)  TX bytes:1 (1.0 B)'");
    for (const int vap : {1, 16}) make_interface(1, vap);
    build();
    EXPECT_EQ(value("46.1"), "18000000000");
    EXPECT_EQ(value("47.1"), "2");
    EXPECT_EQ(value("46.2"), "0");

    make_interface(2, 3);
    build();
    fake.ifnames.erase({1, 2});
    EXPECT_EQ(get("2.1.1.46.2"), NOTHING) << "a live VAP without a name ends the refresh";
    EXPECT_EQ(value("46.1"), "18000000000");
}

TEST_F(RadioTest, CountersAreReadFromTheLineOfTheToolElseFromTheKernel) {
    prepare_tools();
    root.write_tool("/sbin/ifconfig", "cat \"$ZEVSIC_ROOT/line\"; [ \"$1\" = ath0 ]");
    root.write("/sys/class/net/ath0/statistics/rx_bytes", "5000000000\n");
    const std::string good =
        "          RX bytes:123456 (120.5 KiB)  TX bytes:18446744073709551615 (16 EiB)\n";
    const std::pair<std::string, const char *> cases[] = {{good, "123456"},
                                                          {"RX bytes:12", "5000000000"},
                                                          {"RX bytes: (0.0 B)", "5000000000"},
                                                          {"RX bytes:-1 (0.0 B)", "5000000000"},
                                                          {"RX packets 4  bytes 12 (12.0 B)", "5000000000"},
                                                          {"", "5000000000"}};
    for (const auto &[line, octets] : cases) {
        root.write("/line", line);
        EXPECT_EQ(interface_octets("ath0", true), octets) << line;
    }
    root.write("/sys/class/net/ath1/statistics/rx_bytes", "nothing\n");
    EXPECT_EQ(interface_octets("ath1", true), "0");
    EXPECT_EQ(interface_octets("ath2", true), "0");
    root.write("/line", good);
    EXPECT_EQ(interface_octets("ath0", false), "18446744073709551615");
    EXPECT_EQ(interface_octets("; touch $ZEVSIC_ROOT/tmp/x;", true), "123456");
    EXPECT_FALSE(root.has("/tmp/x"));
}
