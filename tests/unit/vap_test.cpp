// VAP identity, live columns, VLAN and QoS.
#include "platform/device.h"
#include "tests/unit/agent_fixture.h"

class VapTest : public AgentTest {};

TEST_F(VapTest, WhatASetQueues) {
    const std::string longest(32, 's');
    fake.item("rf1_vap3", "upband", "0");
    expect_sets({{"3.1.1.3.1.3", "rf1_vap3 ssid=", {"my net", "a&b", longest}, {" n", "n ", "n\xc3\xa4"}},
                 {"3.1.1.6.1.3", "rf1_vap3 vid=", {"0>4096", "00>4096", "1", "4094"}, {"x"}},
                 {"3.1.1.8.1.3", "rf1_vap3 upband=", {"0"}, {}},
                 {"3.1.1.9.1.3", "", {"5>"}, {}}});
}

TEST_F(VapTest, DownlinkPriorities) {
    expect_shown({{"rf1_vap3",
                   "down8021p_vi",
                   "3.1.1.15.1.3",
                   {"6>0", "4>1", "0>2", "1>3", "2>-1", "06>0", "6x>-1", ">-1"}}});
    fake.offload[1] = true;
    fake.item("rf2_vap1", "down8021p_ca", "4");
    expect_sets({{"3.1.1.14.2.1", "", {"0>"}, {"4"}}});
    EXPECT_EQ(get("3.1.1.14.2.1").value, "-1");
}

TEST_F(VapTest, StoredTextsAndWhatTheyShow) {
    expect_shown({{"rf2_vap16", "vid", "3.1.1.6.2.16", {"4095", "4096", "4097>4096", "-1>4096", "x>0"}},
                  {"rf2_vap16", "upband", "3.1.1.8.2.16", {"512"}},
                  {"rf2_vap16", "split_tun", "3.1.1.19.2.16", {"enable>1"}}});
    fake.working = {{{"rf2_vap16", "vid"}, "4095"}, {{"rf2_vap16", "upband"}, "512"}};
    build();
    EXPECT_EQ(get("3.1.1.8.2.16").value, "0") << "no limit without a VLAN";
    EXPECT_EQ(get("3.1.1.1.1.01"), (Answer{0, "", ""})) << "published, but no row of that text";
    get("3.1.1.6.2.16");  // from the store, once
    set("3.1.1.6.2.16", "integer 0");
    EXPECT_EQ(get("3.1.1.6.2.16").value, "4096") << "0 is written, no VLAN shows";
}

TEST_F(VapTest, BandSteeringIsKeptConsistent) {
    fake.item("rf2", "band_steering", "enable");
    fake.item("rf2_vap3", "ssid", "old");
    fake.item("rf2_vap3", "state", "disable");
    EXPECT_EQ(queued_text("3.1.1.3.2.3", "old"), "rf2_vap3 ssid=old");
    EXPECT_EQ(queued_text("3.1.1.5.2.3", "1"), "rf2_vap3 state=disable");
    EXPECT_EQ(fake.steering_calls, std::vector<std::string>()) << "nothing changes";
    EXPECT_EQ(queued_text("3.1.1.3.2.3", "new"), "rf2_vap3 ssid=new");
    EXPECT_EQ(queued_text("3.1.1.5.2.3", "2"), "rf2_vap3 state=enable");
    EXPECT_EQ(fake.steering_calls,
              (std::vector<std::string>{"enable 1 2 new disable", "enable 1 2 old enable"}));
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
        fake.item(vap, "vid", "4095");
        fake.item(vap, "band_steer", "enable");
    }
    fake.item("rf2_vap1", "vid", "20");
    build();
    struct {
        const char *column, *of_1_2, *of_2_1;
    } cases[] = {{"4", "mac of rf1_vap2", ""}, {"7", "1", "2"},      {"20", "4", "4"},
                 {"21", "121", "211"},         {"22", "122", "212"}, {"23", "2", "2"}};
    for (const auto &c : cases) {
        const std::string oid = std::string("3.1.1.") + c.column;
        EXPECT_EQ(get(oid + ".1.2").value, c.of_1_2) << oid;
        EXPECT_EQ(get(oid + ".2.1").value, c.of_2_1) << oid;
        EXPECT_EQ(get(oid + ".2.2"), (Answer{0, "", ""})) << oid;
    }
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
    expect_trace("Can't get interface name for VAP=0\n", [] {
        EXPECT_EQ(get("3.1.1.21.2.1"), (Answer{0, "", ""}));
    });
    EXPECT_EQ(get("3.1.1.21.1.1").value, "7") << "published before";
}

TEST_F(VapTest, Traces) {
    fake.item("rf2_vap3", "name", "lab");
    expect_trace("rf:2,vap:3 name lab from ZEVCFG ret=0. index = 2\n", [] { get("3.1.1.2.2.3"); });
    expect_trace("vap3 vid  from ZEVCFG ret=-4.\n", [] { get("3.1.1.6.2.3"); });
    expect_trace("SET str=n, i:1, j:2\n", [] { set("3.1.1.2.2.3", "string \"n\""); });
    EXPECT_EQ(traced([] { set("3.1.1.6.2.3", "integer 5000"); }).find("mulindex"), std::string::npos)
        << "the value is checked before the row is read";
}
