// The WDS links.
#include "handler/check.h"
#include "tests/unit/agent_fixture.h"

class WdsTest : public AgentTest {};

TEST_F(WdsTest, ALinkNeedsTheRadiosAutomaticRateAndToBeOnAFixedChannel) {
    fake.item("rf1", "rate", "54M");
    fake.item("rf1", "channel", "6");
    fake.item("rf2", "rate", "auto");
    fake.item("rf2", "channel", "auto");
    expect_sets(
        {{"4.1.1.2.1.1", "", {}, {"1", "2"}}, {"4.1.1.2.2.8", "rf2_wds8 state=", {"1>disable"}, {"2"}}});
}

TEST_F(WdsTest, PeersOfARadioDiffer) {
    fake.item("rf1_wds5", "mac", "00:1A:2B:3C:4D:5E");
    fake.item("rf1_wds6", "mac", "");
    fake.item("rf1_wds7", "state", "enable");
    const std::string mac = "00-1a-2b-3c-4d-5e", stored = mac + ">00:1A:2B:3C:4D:5E";
    expect_sets({{"4.1.1.3.1.3", "rf1_wds3 mac=", {""}, {mac}},   // no peer, like link 6
                 {"4.1.1.3.1.5", "rf1_wds5 mac=", {stored}, {}},  // the link's own
                 {"4.1.1.3.2.3", "rf2_wds3 mac=", {stored}, {}},  // another radio's
                 {"4.1.1.3.1.7", "", {}, {""}}});                 // an enabled link has a peer
}

TEST_F(WdsTest, WepHidesWpa) {
    for (const char *key : {"wep.enabled", "wpa.enabled"}) fake.item("rf2_wds5", key, "enable");
    EXPECT_EQ(get("4.1.1.4.2.5").value, "1");
}

TEST(Keys, HaveTheirCharactersAndLength) {
    const std::string x63(63, 'x'), a63(63, 'a');
    const auto wep = [](const char *key, const char *format) { return check_wep_key(key, "64", format); };
    const auto psk = [](const std::string &key, const char *type) {
        return check_psk_key(key.c_str(), type);
    };
    EXPECT_TRUE(wep("abcde", "ascii") && wep("0123456789", "hex"));
    EXPECT_FALSE(wep("abcd ", "ascii") || wep("012345678g", "hex"));
    EXPECT_TRUE(psk(x63, "passphrase") && psk("eight888", "passphrase") && psk(a63 + "a", "psk"));
    EXPECT_FALSE(psk(x63 + "x", "passphrase") || psk("seven77", "passphrase") || psk(a63, "psk") ||
                 psk(x63 + "x", "psk"));
}
