// The VAPs: identity, live columns, QoS, security, behaviour on the air, Hotspot 2.0.
#include "tests/unit/agent_fixture.h"

class VapTest : public AgentTest {};

// The item on all VAPs of a radio.
static std::string radio_wide(int radio, const std::string &item) {
    std::string items;
    for (int vap = 1; vap <= VAPS; vap++)
        items += format("%srf%d_vap%d_sec %s", vap == 1 ? "" : " + ", radio, vap, item.c_str());
    return items;
}

TEST_F(VapTest, ARateShowsInItsShortestForm) {
    EXPECT_EQ(get("3.1.1.61.1.1").value, "-1");
    EXPECT_EQ(queued_by("3.1.1.61.1.1", "04"), "rf1_vap1 mcast_rate=5500");
    EXPECT_EQ(get("3.1.1.61.1.1").value, "4");
}

TEST_F(VapTest, StoredTextsAndWhatTheyShow) {
    const std::pair<const char *, const char *> priorities[] = {{"6", "0"},  {" 6", "0"}, {"6x", "0"},
                                                                {"04", "1"}, {"", "2"},   {"7", "-1"}};
    for (const auto &[stored, code] : priorities)
        EXPECT_EQ(shown("3.1.1.16.1.1", "rf1_vap1", "down8021p_vo", stored), code) << stored;
    const std::string key = "0123456789abcde~", encoded = "3031323334353637383961626364657e";
    fake.item("rf2_vap16", "upband", "512");
    EXPECT_EQ(shown("3.1.1.8.2.16", "rf2_vap16", "vid", "4094"), "512");
    EXPECT_EQ(shown("3.1.1.8.2.16", "rf2_vap16", "vid", "4095"), "0") << "no limit without a VLAN";
    EXPECT_EQ(shown("3.1.1.19.2.16", "rf2_vap16", "split_tun", "enable"), "1");
    EXPECT_EQ(shown("3.1.1.65.1.1", "rf1_vap1_sec", "roam_11r.mobility_domain", "ffff"), "65535");
    EXPECT_EQ(shown("3.1.1.65.1.1", "rf1_vap1_sec", "roam_11r.mobility_domain", "10000"), "");
    EXPECT_EQ(shown("3.1.1.66.1.1", "rf1_vap1_sec", "roam_11r.roam_own_key", encoded + "00"), key);
}

TEST_F(VapTest, BandSteeringIsKeptConsistent) {
    fake.item("rf2", "band_steering", "enable");
    fake.item("rf2_vap3", "ssid", "old");
    fake.item("rf2_vap3", "state", "disable");
    expect_sets({{"3.1.1.3.2.3", "rf2_vap3 ssid=", {"old"}, {}},
                 {"3.1.1.5.2.3", "rf2_vap3 state=", {"1>disable"}, {}}});
    EXPECT_EQ(fake.steering_calls, Texts()) << "nothing changes";
    expect_sets({{"3.1.1.3.2.3", "rf2_vap3 ssid=", {"new"}, {}},
                 {"3.1.1.5.2.3", "rf2_vap3 state=", {"2>enable"}, {}}});
    EXPECT_EQ(fake.steering_calls, (Texts{"enable 1 2 new disable", "enable 1 2 old enable"}));
}

TEST_F(VapTest, LiveColumnsShowTheVapsInTheKernel) {
    prepare_tools();
    root.write_tool("/sbin/ifconfig", "echo \"RX bytes:${1#ath}1 (1 B)  TX bytes:${1#ath}2 (1 B)\"");
    make_interface(1, 2, "ath12");
    make_interface(2, 1, "ath21");
    fake.item("rf1_vap2", "state", "enable");
    for (const char *vap : {"rf1_vap2", "rf2_vap1", "rf2_vap2"}) {
        fake.system_items[std::string(vap) + "_mac"] = std::string("mac of ") + vap;
        fake.system_items[std::string(vap) + "_sta"] = "4";
    }
    build();
    EXPECT_EQ(walked("3.1.1.4"), Texts{"3.1.1.4.1.2=mac of rf1_vap2"});
    EXPECT_EQ(walked("3.1.1.20"), (Texts{"3.1.1.20.1.2=4", "3.1.1.20.2.1=4"}));
    EXPECT_EQ(walked("3.1.1.21"), (Texts{"3.1.1.21.1.2=121", "3.1.1.21.2.1=211"}));
    EXPECT_EQ(walked("3.1.1.22"), (Texts{"3.1.1.22.1.2=122", "3.1.1.22.2.1=212"}));
    // Cached columns keep what they showed; live ones are asked again when their time has come.
    fake.system_items["rf1_vap2_mac"] = fake.system_items["rf1_vap2_sta"] = "new";
    zevap->sample_time = 0;
    EXPECT_EQ(get("3.1.1.4.1.2").value, "mac of rf1_vap2");
    EXPECT_EQ(get("3.1.1.20.1.2").value, "new");
}

TEST_F(VapTest, AVapWithoutANameEndsTheOctetRefresh) {
    prepare_tools();
    root.write_tool("/sbin/ifconfig", "echo 'RX bytes:7 (7 B)'");
    make_interface(1, 1, "a");
    make_interface(1, 2, "b");
    make_interface(2, 1, "c");
    build();
    fake.ifnames.erase({0, 1});
    const std::string trace = traced([] { EXPECT_EQ(get("3.1.1.21.2.1"), NOTHING); });
    EXPECT_NE(trace.find("\nCan't get interface name for VAP=0\n"), std::string::npos);
    EXPECT_EQ(get("3.1.1.21.1.1").value, "7") << "published before";
}

TEST_F(VapTest, AuthenticationMode) {
    const char *const stored[][4] = {
        {"open", "disable", "psk", "0"},   {"open", "enable", "psk", "1"},  {"auto", "enable", "", "1"},
        {"shared", "disable", "psk", "5"}, {"8021x", "enable", "psk", "2"}, {"wpa", "disable", "psk", "3"},
        {"wpa", "disable", "eap", "4"},    {"wpa", "enable", "", "4"},      {"", "", "", "5"}};
    for (const auto &[mode, wep, eap, shown] : stored) {
        fake.item("rf2_vap2_sec", "mode", mode);
        fake.item("rf2_vap2_sec", "wep.enabled", wep);
        fake.item("rf2_vap2_sec", "wpa.eap", eap);
        build();
        EXPECT_EQ(get("3.1.1.24.2.2").value, shown) << mode << " " << wep << " " << eap;
    }
    const std::string group = "rf2_vap2_sec ";
    const std::string wep = group + "wep.enabled=enable + " + group + "wpa.eap=psk";
    fake.item("rf2_vap2_sec", "mode", "wpa");
    expect_sets({{"3.1.1.24.2.2", wep, {"1>"}, {"5"}}});  // no mode of WEP
    fake.item("rf2_vap2_sec", "mode", "shared");
    expect_sets({{"3.1.1.24.2.2", group + "mode=shared + " + wep, {"1>"}, {}}});
    fake.offload[1] = true;
    expect_sets({{"3.1.1.24.2.2", "", {}, {"2"}}});
}

TEST_F(VapTest, StaticWepIsWrittenToTheWholeRadio) {
    get("3.1.1.27.1.5");
    EXPECT_EQ(queued_by("3.1.1.27.1.5", "2"), radio_wide(1, "wep.keylen=128"));
    EXPECT_EQ(queued_by("3.1.1.28.2.1", "2"), radio_wide(2, "wep.method=hex"));
    for (const char *row : {"1.1", "1.5", "1.16"})
        EXPECT_EQ(get(std::string("3.1.1.27.") + row).value, "2") << row;
    EXPECT_EQ(get("3.1.1.27.2.1").value, "4");
}

TEST_F(VapTest, WepKeysHaveTheLengthThatTheStoreSays) {
    const std::tuple<const char *, const char *, size_t> cases[] = {
        // 0: none is right
        {"64", "ascii", 5}, {"128", "ascii", 13}, {"152", "ascii", 16}, {"64", "hex", 10},
        {"128", "hex", 26}, {"152", "", 32},      {"256", "ascii", 0},  {"", "hex", 0}};
    for (const auto &[bits, form, right] : cases) {
        fake.item("rf1_vap5_sec", "wep.keylen", bits);
        fake.item("rf1_vap5_sec", "wep.method", form);
        for (const size_t characters : {0, 5, 10, 13, 16, 26, 32}) {
            const std::string key(characters, 'x');
            const bool is_right = characters == right && characters > 0;
            EXPECT_EQ(queued_by("3.1.1.30.1.5", key), is_right ? radio_wide(1, "wep.key1=" + key) : REFUSED)
                << bits << " " << form << " " << characters;
        }
    }
}
