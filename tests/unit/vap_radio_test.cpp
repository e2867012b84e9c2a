// VAP behaviour on the air and fast roaming.
#include "tests/unit/agent_fixture.h"

static const std::string KEY = "0123456789abcde~";
static const std::string ENCODED_KEY = "3031323334353637383961626364657e";

class VapRadioTest : public AgentTest {};

TEST_F(VapRadioTest, WhatASetQueues) {
    fake.offload[1] = true;
    expect_sets({{"3.1.1.53.2.1", "", {"256>"}, {"255"}},
                 {"3.1.1.61.1.1", "rf1_vap1 mcast_rate=", {"0>6000", "04>5500", "11>54000"}, {}}});
}

TEST_F(VapRadioTest, RoamingChangesOnlyItemsThatExist) {
    expect_existing_only(
        "rf1_vap2_sec",
        {{"3.1.1.65.1.2", "roam_11r.mobility_domain", {"43981>abcd", "10>000a"}, {"0", "65536"}},
         {"3.1.1.66.1.2",
          "roam_11r.roam_own_key",
          {KEY + ">" + ENCODED_KEY},
          {KEY + "f", "0123456789 bcdef"}},
         {"3.1.1.68.1.1.1.2.5",
          "roam_11r.remote_ap:4.roam_mac",
          {"00-11-22-aa-bb-cc>00:11:22:AA:BB:CC"},
          {"", "00-11-22:aa:bb:cc"}},
         {"3.1.1.68.1.2.1.2.1", "roam_11r.remote_ap:0.roam_key", {KEY + ">" + ENCODED_KEY}, {""}}});
    for (const char *no_row : {"3.1.1.68.1.1.1.2.6", "3.1.1.68.1.1.1.2"})
        EXPECT_EQ(queued_by(no_row, "00-11-22-aa-bb-cc"), REFUSED) << no_row;
}

TEST_F(VapRadioTest, StoredTextsAndWhatTheyShow) {
    const std::string group = "rf1_vap1", security = "rf1_vap1_sec";
    fake.offload[0] = true;
    expect_shown(
        {{group, "dtim_period", "3.1.1.54.1.1", {"007>7"}},
         {security, "roam_11r.mobility_domain", "3.1.1.65.1.1", {"00ff>255", "0>", "10000>", "x>"}},
         {security, "roam_11r.roam_own_key", "3.1.1.66.1.1", {ENCODED_KEY + "00>" + KEY, "3031>"}},
         {security, "roam_11r.remote_ap:1.roam_key", "3.1.1.68.1.2.1.1.2", {ENCODED_KEY + ">" + KEY}}});
}

TEST_F(VapRadioTest, AWrittenKeyAndRateShowAtOnce) {
    fake.item("rf1_vap2_sec", "roam_11r.roam_own_key", "");
    for (const char *oid : {"3.1.1.66.1.2", "3.1.1.61.1.2"}) get(oid);
    set("3.1.1.66.1.2", "string \"" + KEY + "\"");
    set("3.1.1.61.1.2", "integer 04");
    EXPECT_EQ(get("3.1.1.66.1.2").value, KEY);
    EXPECT_EQ(get("3.1.1.61.1.2").value, "4");
}
