// VAP security: authentication, WEP, WPA, RADIUS.
#include "tests/unit/agent_fixture.h"

// The item on all VAPs of a radio.
static std::string radio_wide(int radio, const std::string &item) {
    std::string items;
    for (int vap = 1; vap <= VAPS; vap++)
        items += (vap == 1 ? "rf" : " + rf") + std::to_string(radio) + "_vap" + std::to_string(vap) +
                 "_sec " + item;
    return items;
}

class VapSecurityTest : public AgentTest {};

TEST_F(VapSecurityTest, AuthenticationMode) {
    struct {
        const char *mode, *wep, *eap, *shown;
    } stored[] = {
        {"open", "disable", "psk", "0"},   {"open", "enable", "psk", "1"},  {"auto", "enable", "", "1"},
        {"shared", "disable", "psk", "5"}, {"8021x", "enable", "psk", "2"}, {"wpa", "disable", "psk", "3"},
        {"wpa", "disable", "eap", "4"},    {"wpa", "enable", "", "4"},      {"", "", "", "5"}};
    for (const auto &s : stored) {
        fake.item("rf2_vap2_sec", "mode", s.mode);
        fake.item("rf2_vap2_sec", "wep.enabled", s.wep);
        fake.item("rf2_vap2_sec", "wpa.eap", s.eap);
        build();
        EXPECT_EQ(get("3.1.1.24.2.2").value, s.shown) << s.mode << " " << s.wep << " " << s.eap;
    }
    const std::string group = "rf2_vap2_sec ",
                      no_wep = " + " + group + "wep.enabled=disable + " + group + "wpa.eap=";
    const std::string wep = group + "wep.enabled=enable + " + group + "wpa.eap=psk";
    fake.item("rf2_vap2_sec", "mode", "wpa");
    expect_sets({{"3.1.1.24.2.2",
                  "",
                  {"0>" + group + "mode=open" + no_wep + "psk", "1>" + wep,
                   "2>" + group + "mode=8021x" + no_wep + "psk", "3>" + group + "mode=wpa" + no_wep + "psk",
                   "4>" + group + "mode=wpa" + no_wep + "eap"},
                  {"5"}}});
    fake.item("rf2_vap2_sec", "mode", "shared");
    EXPECT_EQ(queued_text("3.1.1.24.2.2", "1"), group + "mode=shared + " + wep);
    fake.offload[1] = true;
    EXPECT_EQ(queued_by("3.1.1.24.2.2", "2"), REFUSED);
}

TEST_F(VapSecurityTest, StaticWepIsWrittenToTheWholeRadio) {
    get("3.1.1.27.1.5");
    EXPECT_EQ(queued_text("3.1.1.27.1.5", "2"), radio_wide(1, "wep.keylen=128"));
    EXPECT_EQ(queued_text("3.1.1.28.2.1", "2"), radio_wide(2, "wep.method=hex"));
    EXPECT_EQ(queued_by("3.1.1.28.2.17", "2"), REFUSED);
    for (const char *row : {"1.1", "1.5", "1.16"})
        EXPECT_EQ(get(std::string("3.1.1.27.") + row).value, "2") << row;
    EXPECT_EQ(get("3.1.1.27.2.1").value, "4");
}

TEST_F(VapSecurityTest, WepKeysHaveTheLengthThatTheStoreSays) {
    struct {
        const char *bits, *format;
        size_t characters;  // 0: none is right
    } cases[] = {{"64", "ascii", 5}, {"128", "ascii", 13}, {"152", "ascii", 16}, {"64", "hex", 10},
                 {"128", "hex", 26}, {"152", "", 32},      {"256", "ascii", 0},  {"", "hex", 0}};
    for (const auto &c : cases) {
        fake.item("rf1_vap5_sec", "wep.keylen", c.bits);
        fake.item("rf1_vap5_sec", "wep.method", c.format);
        for (const size_t characters : {0, 5, 10, 13, 16, 26, 32}) {
            const std::string key(characters, 'x');
            const bool right = characters == c.characters && characters > 0;
            EXPECT_EQ(queued_text("3.1.1.30.1.5", key),
                      right ? radio_wide(1, "wep.key1=" + key) : REFUSED.front())
                << c.bits << " " << c.format << " " << characters;
        }
    }
    set("3.1.1.27.1.5", "integer 1");
    EXPECT_EQ(set("3.1.1.29.1.5", "string \"12345\""), STATUS_WRONG_VALUE) << "a queued length is none yet";
}

TEST_F(VapSecurityTest, CipherSuites) {
    const char *const suites[][2] = {{"1", "rc4-tkip"}, {"1", "aes-ccmp"}, {"2", "rc4-tkip"},
                                     {"2", "aes-ccmp"}, {"1:2", "mixed"},  {"2", "mixed"}};
    for (int i = 0; i < 6; i++) {
        const std::string code = std::to_string(i + 1), group = "rf1_vap1_sec";
        const auto &[version, cipher] = suites[i];
        const std::string items = group + " wpa.version=" + version + " + " + group + " wpa.enc=" + cipher;
        fake.item(group, "wpa.version", version);
        fake.item(group, "wpa.enc", cipher);
        build();
        EXPECT_EQ(get("3.1.1.33.1.1").value, i < 5 ? code : "0");
        EXPECT_EQ(queued_text("3.1.1.33.1.1", code), i < 5 ? items : REFUSED.front());
    }
}
