// System identity, time and addressing.
#include <fstream>

#include "tests/unit/agent_fixture.h"

using Items = std::vector<std::string>;
static const Items REFUSED = {"refused 34"};

class SystemTest : public AgentTest {};

TEST_F(SystemTest, WhatASetQueues) {
    const std::string long_text(64, 'x');
    struct {
        const char *oid;
        std::string value;
        Items items;
    } cases[] = {
        {"1.1.0", "ap 1", {"device name=ap 1"}},
        {"1.1.0", "", REFUSED},
        {"1.1.0", std::string(33, 'a'), REFUSED},
        {"1.1.0", "a/b", REFUSED},
        {"1.2.0", "", {"device desc="}},
        {"1.2.0", long_text, {"device desc=" + long_text}},
        {"1.3.0", long_text + "x", REFUSED},
        {"1.4.0", "16", {"systime timezone=Asia/Taipei"}},
        {"1.4.0", "69", REFUSED},
        {"1.5.0", "1", {"systime type=ntp"}},
        {"1.5.0", "2", {"systime type=manual"}},
        {"1.5.0", "x", REFUSED},
        {"1.6.0", "no address!", {"systime ntp_server1=no address!"}},
        {"1.15.0", "10.0.0.1", {"wan_ip addr=10.0.0.1"}},
        {"1.16.0", "0.0.0.0", REFUSED},
        {"1.17.0", "10.0.0.1.1", REFUSED},
        {"1.18.0", "10.0.0.1", {"refused 31"}},
        {"1.21.0", "", REFUSED},
        {"1.22.0", "", {"wan_ip dns2="}},
        {"1.23.0", "2", {"network_L2 stp=enable"}},
        {"1.23.0", "02", {"network_L2 stp=enable"}},
        {"1.23.0", "0", REFUSED},
        {"1.24.0", "2", {"refused 31"}},
        {"1.25.0", "0", {"wan_ip mgmt_vid=4096"}},
        {"1.25.0", "100", {"wan_ip mgmt_vid=100"}},
        {"1.25.3", "100", {"wan_ip mgmt_vid=100"}},
        {"1.25.0", "4095", REFUSED},
        {"1.27.0", "anything", {"snmp trap_server=anything"}},
        {"1.30.0", "0123456789abcdef", REFUSED},
        {"1.31.0", "65535", {"syslog server_port=65535"}},
        {"1.31.0", "65536", REFUSED},
        {"1.32.0", "8", REFUSED},
        {"1.32.0", "7", {"syslog level=7"}},
        {"1.1.1", "ap", {"refused 0"}},
    };
    for (const auto &c : cases) EXPECT_EQ(queued_by(c.oid, c.value), c.items) << c.oid << " = " << c.value;
}

TEST_F(SystemTest, PreconditionsReadTheStore) {
    fake.item("systime", "type", "ntp");
    fake.item("snmp", "trap", "enable");
    fake.item("syslog", "state", "enable");
    EXPECT_EQ(queued_by("1.6.0", "no address!"), REFUSED);
    EXPECT_EQ(queued_by("1.6.0", ""), REFUSED);
    EXPECT_EQ(queued_by("1.6.0", "time.example.de"), Items{"systime ntp_server1=time.example.de"});
    EXPECT_EQ(queued_by("1.6.0", "time.example.info"), REFUSED);
    EXPECT_EQ(queued_by("1.7.0", ""), Items{"systime ntp_server2="});
    EXPECT_EQ(queued_by("1.27.0", "anything"), REFUSED);
    EXPECT_EQ(queued_by("1.27.0", "10.0.0.9"), Items{"snmp trap_server=10.0.0.9"});
    EXPECT_EQ(queued_by("1.30.0", ""), REFUSED);
    // A queued change is no precondition yet.
    set("1.5.0", "integer 2");
    EXPECT_EQ(set("1.6.0", "string \"no address!\""), STATUS_WRONG_VALUE);
}

TEST_F(SystemTest, StoredTextsAndWhatTheyShow) {
    struct {
        const char *group, *key, *stored, *oid;
        Answer answer;
    } cases[] = {
        {"systime", "timezone", "Asia/Taipei", "1.4.0", {INTEGER, "1.4.0", "16"}},
        {"systime", "timezone", "Mars/Olympus", "1.4.0", {STATUS_WRONG_VALUE, "", ""}},
        {"systime", "type", "other", "1.5.0", {INTEGER, "1.5.0", "2"}},
        {"network_L2", "stp", "enable", "1.23.0", {INTEGER, "1.23.0", "2"}},
        {"network_L2", "stp", "Enable", "1.23.0", {INTEGER, "1.23.0", "1"}},
        {"wan_ip", "mgmt_vid", "4096", "1.24.0", {INTEGER, "1.24.0", "1"}},
        {"wan_ip", "mgmt_vid", "4094", "1.24.7", {INTEGER, "1.24.7", "2"}},
        {"wan_ip", "addr", "10.1.1.1", "1.15.0", {IPADDRESS, "1.15.0", "10.1.1.1"}},
    };
    for (const auto &c : cases) {
        fake = {};
        fake.item(c.group, c.key, c.stored);
        build();
        EXPECT_EQ(get(c.oid), c.answer) << c.stored;
        EXPECT_EQ(get(c.oid), c.answer) << c.stored << ", asked again";
    }
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
    setenv("PATH", (root.path("/sbin") + ":" + getenv("PATH")).c_str(), 1);
    const auto put = [&](const char *oid, const char *value) {
        return set(oid, std::string("integer ") + value);
    };
    EXPECT_EQ(get("1.8.0").value, "-1");
    EXPECT_EQ(set("1.14.0", "string \"1\""), STATUS_WRONG_VALUE) << "nothing is set yet";
    EXPECT_EQ(put("1.10.0", "1"), STATUS_WRONG_VALUE) << "no day without year and month";
    EXPECT_EQ(put("1.8.0", "1999"), STATUS_WRONG_VALUE);
    EXPECT_EQ(put("1.8.0", "2023"), STATUS_ACCEPTED);
    EXPECT_EQ(put("1.9.0", "2"), STATUS_ACCEPTED);
    EXPECT_EQ(put("1.10.0", "29"), STATUS_WRONG_VALUE);
    EXPECT_EQ(put("1.8.0", "2024"), STATUS_ACCEPTED);
    EXPECT_EQ(put("1.10.0", "29"), STATUS_ACCEPTED);
    EXPECT_EQ(put("1.11.0", "24"), STATUS_WRONG_VALUE);
    EXPECT_EQ(put("1.11.0", "7"), STATUS_ACCEPTED);
    EXPECT_EQ(put("1.12.0", "5"), STATUS_ACCEPTED);
    EXPECT_EQ(put("1.13.0", "60"), STATUS_WRONG_VALUE);
    EXPECT_EQ(put("1.13.0", "9"), STATUS_ACCEPTED);
    EXPECT_EQ(set("1.14.0", "string \"1\""), STATUS_ACCEPTED);
    EXPECT_EQ(root.read("/tmp/date.log"), "022907052024.09\n");
    for (const int32_t field : {zevap->set_year, zevap->set_month, zevap->set_day, zevap->set_hour,
                                zevap->set_minute, zevap->set_second})
        EXPECT_EQ(field, CLOCK_UNSET);
    EXPECT_EQ(get("1.8.0").value, "2024") << "the leaf goes on showing what was written";
    EXPECT_EQ(queued(), Items{});

    put("1.8.0", "2024");
    put("1.9.0", "1");
    put("1.10.0", "5");
    put("1.9.0", "-1");
    EXPECT_EQ(zevap->set_day, CLOCK_UNSET);
    EXPECT_EQ(zevap->set_year, 2024);
}

TEST_F(SystemTest, SampleTimeIsKeptInEightBits) {
    struct {
        const char *stored;
        int seconds;
    } cases[] = {{"0", 0}, {"256", 0}, {"355", 99}, {"100", 100}, {"x", 0}};
    for (const auto &c : cases) {
        fake.item("snmp", "sample_time", c.stored);
        build();
        EXPECT_EQ(zevap->sample_time, c.seconds) << c.stored;
    }
    EXPECT_EQ(fake.open_handles, 2) << "rebuilds close what they opened";
}

TEST_F(SystemTest, InterfacesComeFromTheKernel) {
    fake.ifnames[{0, 0}] = "wlan7";
    fake.item("rf1_vap1", "state", "enable");
    fake.system_items["rf2_ch"] = "36";
    root.write("/sys/class/net/wlan7/ifindex", "17\n");
    root.write("/sys/class/net/ath1ap3/ifindex", "9\n");
    root.write("/sys/class/net/ath1ap4/ifindex", "");
    build();
    EXPECT_EQ(zevap->vap[0][0].ifindex, 17);
    EXPECT_EQ(zevap->vap[0][0].enabled, 1);
    EXPECT_EQ(zevap->vap[1][3].ifindex, 9) << "the name by its number when the library has none";
    EXPECT_EQ(zevap->vap[1][4].ifindex, 0);
    EXPECT_EQ(zevap->vap[1][5].ifindex, 0);
    EXPECT_EQ(zevap->rf_channel[1], 36);
}
