// The WDS links.
#include "tests/unit/agent_fixture.h"

class WdsTest : public AgentTest {
  protected:
    static Items set_link(const std::string &arc_and_row, const std::string &value) {
        return queued_by("4.1.1." + arc_and_row, value);
    }
};

TEST_F(WdsTest, ALinkNeedsTheRadiosAutomaticRateAndAFixedChannel) {
    fake.item("rf1", "rate", "54M");
    fake.item("rf1", "channel", "6");
    fake.item("rf2", "rate", "auto");
    fake.item("rf2", "channel", "auto");
    EXPECT_EQ(set_link("2.1.1", "1"), REFUSED);
    EXPECT_EQ(set_link("2.1.1", "2"), REFUSED);
    EXPECT_EQ(set_link("2.2.8", "2"), REFUSED);
    EXPECT_EQ(set_link("2.2.8", "1"), Items{"rf2_wds8 state=disable"});
    fake.item("rf2", "channel", "36");
    EXPECT_EQ(set_link("2.2.8", "2"), Items{"rf2_wds8 state=enable"});
}

TEST_F(WdsTest, PeersOfARadioDiffer) {
    fake.item("rf1_wds5", "mac", "00:1A:2B:3C:4D:5E");
    fake.item("rf1_wds6", "mac", "");
    fake.item("rf1_wds7", "state", "enable");
    const std::string mac = "00-1a-2b-3c-4d-5e";
    EXPECT_EQ(set_link("3.1.3", mac), REFUSED);
    EXPECT_EQ(set_link("3.1.5", mac), Items{"rf1_wds5 mac=00:1A:2B:3C:4D:5E"}) << "the link's own";
    EXPECT_EQ(set_link("3.2.3", mac), Items{"rf2_wds3 mac=00:1A:2B:3C:4D:5E"}) << "another radio's";
    EXPECT_EQ(set_link("3.1.3", "00-1a-2b-3c-4d:5f"), REFUSED);
    EXPECT_EQ(set_link("3.1.3", ""), Items{"rf1_wds3 mac="}) << "no peer, like link 6";
    EXPECT_EQ(set_link("3.1.7", ""), REFUSED) << "an enabled link has a peer";

    get("4.1.1.3.2.3");
    set_link("3.2.3", mac);
    EXPECT_EQ(get("4.1.1.3.2.3").value, "00:1A:2B:3C:4D:5E");
}

TEST_F(WdsTest, SecurityTypeIsTwoSwitches) {
    EXPECT_EQ(set_link("4.1.2", "0"),
              (Items{"rf1_wds2 wep.enabled=disable", "rf1_wds2 wpa.enabled=disable"}));
    EXPECT_EQ(set_link("4.1.2", "1"), (Items{"rf1_wds2 wep.enabled=enable", "rf1_wds2 wpa.enabled=disable"}));
    EXPECT_EQ(set_link("4.2.1", "2"), (Items{"rf2_wds1 wep.enabled=disable", "rf2_wds1 wpa.enabled=enable"}));
    fake.item("rf1_wds2", "wep.enabled", "disable");
    set("4.1.1.4.1.2", "integer 1");
    EXPECT_EQ(set("4.1.1.5.1.2", "integer 2"), STATUS_WRONG_VALUE) << "the switch is queued, not stored";
    const std::string group = "rf2_wds5";
    expect_shown({{group, "state", "4.1.1.4.2.5", {"enable>0"}},
                  {group, "wpa.enabled", "4.1.1.4.2.5", {"enable>2"}},
                  {group, "wep.enabled", "4.1.1.4.2.5", {"enable>1"}}});
    fake.item(group, "wpa.enabled", "enable");
    expect_shown({{group, "wep.enabled", "4.1.1.4.2.5", {"enable>1"}}});
}

TEST_F(WdsTest, KeyParametersNeedTheStoredSwitch) {
    const struct {
        const char *arc, *value, *key, *item;
    } cases[] = {{"5", "2", "wep.enabled", "wep.keylen=128"},
                 {"6", "1", "wep.enabled", "wep.method=ascii"},
                 {"7", "13 characters", "wep.enabled", nullptr},
                 {"7", "0123456789abc", "wep.enabled", "wep.key0=0123456789abc"},
                 {"8", "2", "wpa.enabled", "wpa.enc=aes-ccmp"},
                 {"9", "2", "wpa.enabled", "wpa.type=passphrase"},
                 {"10", "seven77", "wpa.enabled", nullptr},
                 {"10", "eight888", "wpa.enabled", "wpa.passphrase=eight888"},
                 {"11", "2", nullptr, "tun=enable"}};
    fake.item("rf1_wds1", "wep.keylen", "128");
    fake.item("rf1_wds1", "wep.method", "ascii");
    fake.item("rf1_wds1", "wpa.type", "passphrase");
    for (const auto &c : cases) {
        const std::string instance = std::string(c.arc) + ".1.1";
        const Items accepted = c.item ? Items{std::string("rf1_wds1 ") + c.item} : REFUSED;
        if (c.key) fake.item("rf1_wds1", c.key, "disable");
        EXPECT_EQ(set_link(instance, c.value), c.key ? REFUSED : accepted) << instance;
        if (!c.key) continue;
        fake.item("rf1_wds1", c.key, "");
        EXPECT_EQ(set_link(instance, c.value), accepted) << instance << ": any text but \"disable\"";
    }
    fake.item("rf1_wds1", "wpa.type", "psk");
    EXPECT_EQ(set_link("10.1.1", "eight888"), REFUSED);
    EXPECT_EQ(set_link("10.1.1", std::string(64, 'a')),
              Items{"rf1_wds1 wpa.passphrase=" + std::string(64, 'a')});
    fake.item("rf1_wds1", "wep.method", "hex");
    EXPECT_EQ(set_link("7.1.1", "0123456789abc"), REFUSED);
}
