// System identity, time and addressing.
#include "platform/device.h"
#include "tests/unit/agent_fixture.h"

class SystemTest : public AgentTest {};

TEST_F(SystemTest, WhatASetQueues) {
    expect_sets({{"1.6.0", "systime ntp_server1=", {"no address!"}, {}},
                 {"1.23.0", "network_L2 stp=", {"02>enable"}, {}},
                 {"1.25.0", "wan_ip mgmt_vid=", {"0>4096", "100"}, {}},
                 {"1.25.3", "wan_ip mgmt_vid=", {"100"}, {}},
                 {"1.27.0", "snmp trap_server=", {"anything"}, {}}});
    EXPECT_EQ(queued_text("1.1.1", "ap"), "refused 0");
}

TEST_F(SystemTest, PreconditionsReadTheStore) {
    fake.item("systime", "type", "ntp");
    fake.item("snmp", "trap", "enable");
    fake.item("syslog", "state", "enable");
    expect_sets({{"1.6.0", "systime ntp_server1=", {"time.example.de"}, {"", "no address!", "example.info"}},
                 {"1.7.0", "systime ntp_server2=", {""}, {}},
                 {"1.27.0", "snmp trap_server=", {"10.0.0.9"}, {"anything"}},
                 {"1.30.0", "syslog server_ip=", {"10.0.0.9"}, {""}}});
    set("1.5.0", "integer 2");
    EXPECT_EQ(set("1.6.0", "string \"no address!\""), STATUS_WRONG_VALUE) << "queued, no precondition yet";
}

TEST_F(SystemTest, StoredTextsAndWhatTheyShow) {
    expect_shown({{"wan_ip", "mgmt_vid", "1.24.0", {"4095>1", "4094>2"}},
                  {"systime", "timezone", "1.4.0", {"Asia/Taipei>16"}}});
    fake.item("systime", "timezone", "Mars/Olympus");
    build();
    for (int asked = 0; asked < 2; asked++) EXPECT_EQ(get("1.4.0"), (Answer{STATUS_WRONG_VALUE, "", ""}));
}

TEST_F(SystemTest, AWrittenValueShowsBeforeItIsSaved) {
    fake.item("device", "name", "old");
    get("1.1.0");
    set("1.1.0", "string \"new\"");
    EXPECT_EQ(get("1.1.0").value, "new");
    set("1.1.0", "string \"newer\"");
    EXPECT_EQ(queued(), (Items{"device name=new", "device name=newer"}));
}

TEST_F(SystemTest, TheClockIsComposedThenApplied) {
    root.write_tool("/sbin/date", "echo \"$@\" >> \"$ZEVSIC_ROOT/tmp/date.log\"");
    prepare_tools();
    EXPECT_EQ(get("1.8.0").value, "-1");
    EXPECT_EQ(queued_by("1.14.0", "1"), REFUSED) << "nothing is set yet";
    expect_sets({{"1.10.0", "", {}, {"1"}},  // no day without year and month
                 {"1.8.0", "", {"2023>"}, {}},
                 {"1.9.0", "", {"2>"}, {}},
                 {"1.10.0", "", {}, {"29"}},
                 {"1.8.0", "", {"2024>"}, {}},
                 {"1.10.0", "", {"29>"}, {}},
                 {"1.11.0", "", {"7>"}, {}},
                 {"1.12.0", "", {"5>"}, {}},
                 {"1.13.0", "", {"9>"}, {}},
                 {"1.14.0", "", {"1>"}, {}}});
    EXPECT_EQ(root.read("/tmp/date.log"), "022907052024.09\n");
    for (const int32_t field : {zevap->set_year, zevap->set_month, zevap->set_day, zevap->set_hour,
                                zevap->set_minute, zevap->set_second})
        EXPECT_EQ(field, CLOCK_UNSET);
    EXPECT_EQ(get("1.8.0").value, "2024") << "the leaf goes on showing what was written";

    expect_sets({{"1.8.0", "", {"2024>"}, {}}, {"1.9.0", "", {"1>"}, {}}, {"1.10.0", "", {"5>"}, {}}});
    queued_by("1.9.0", "-1");
    EXPECT_EQ(zevap->set_day, CLOCK_UNSET);
    EXPECT_EQ(zevap->set_year, 2024);
}

TEST_F(SystemTest, SampleTimeIsKeptInEightBits) {
    const std::pair<const char *, int> cases[] = {{"0", 0}, {"256", 0}, {"355", 99}, {"100", 100}, {"x", 0}};
    for (const auto &[stored, seconds] : cases) {
        fake.item("snmp", "sample_time", stored);
        build();
        EXPECT_EQ(zevap->sample_time, seconds) << stored;
    }
    EXPECT_EQ(fake.open_handles, 2) << "rebuilds close what they opened";
}

TEST_F(SystemTest, InterfacesComeFromTheKernel) {
    make_interface(1, 1, "wlan7");
    fake.item("rf1_vap1", "state", "enable");
    fake.system_items["rf2_ch"] = "36";
    root.write("/sys/class/net/ath1ap3/ifindex", "9\n");
    root.write("/sys/class/net/ath1ap4/ifindex", "");
    build();
    EXPECT_EQ(zevap->vap[0][0].ifindex, 21);
    EXPECT_EQ(zevap->vap[0][0].enabled, 1);
    EXPECT_EQ(zevap->vap[1][3].ifindex, 9) << "the name by its number when the library has none";
    EXPECT_EQ(zevap->vap[1][4].ifindex, 0);
    EXPECT_EQ(zevap->vap[1][5].ifindex, 0);
    EXPECT_EQ(zevap->rf_channel[1], 36);
}
