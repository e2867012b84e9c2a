// The device: servers, clock, features, restart, status and ports.
#include "handler/check.h"
#include "tests/unit/agent_fixture.h"

class SystemTest : public AgentTest {};

TEST_F(SystemTest, OtherSettingsSayWhatASetQueues) {
    const std::string entry = "capwap aclist.ac_entry:0.";
    fake.item("capwap", "aclist.ac_entry:0.name", "controller");
    expect_sets({{"1.25.3", "wan_ip mgmt_vid=", {"0>4096"}, {}},
                 {"1.41.0", entry, {">priority=0 + " + entry + "ip="}, {}},  // it has a name: not the last
                 {"1.6.0", "systime ntp_server1=", {"no address!"}, {}},
                 {"1.65.0", "", {}, {"2"}}});  // a device without a configurable switch
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

TEST_F(SystemTest, AZoneOfNoNumberIsNoValue) {
    fake.item("systime", "timezone", "Mars/Olympus");
    for (int asked = 0; asked < 2; asked++) EXPECT_EQ(get("1.4.0"), (Answer{STATUS_WRONG_VALUE, "", ""}));
}

TEST_F(SystemTest, TheClockIsComposedThenApplied) {
    root.write_tool("/sbin/date", "echo \"$@\" >> \"$ZEVSIC_ROOT/tmp/date.log\"");
    prepare_tools();
    EXPECT_EQ(get("1.8.0").value, "-1");
    EXPECT_EQ(queued_by("1.14.0", "1"), REFUSED) << "nothing is set yet";
    EXPECT_EQ(get("1.14.0").oid, "1.14.0") << "though it was refused before";
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

TEST(Days, OfAMonth) {
    const int cases[][3] = {{1900, 2, 28}, {2000, 2, 29},  {2024, 2, 29}, {2023, 2, 28},
                            {2023, 4, 30}, {2023, 12, 31}, {-1, 2, -1},   {2000, -1, -1}};
    for (const auto &[year, month, days] : cases)
        EXPECT_EQ(days_in_month(year, month), days) << year << "-" << month;
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

TEST_F(SystemTest, AFeatureThatTheDeviceLacksStaysOff) {
    for (const auto &[group, oid] : {std::pair("capwap", "1.33.0"), {"ipv6", "1.46.0"}, {"wes", "1.53.0"}}) {
        fake.item(group, "state", "enable");
        EXPECT_EQ(get(oid).value, "1");
        expect_sets({{oid, std::string(group) + " state=", {"2>disable"}, {}}});
    }
}

TEST_F(SystemTest, RestartAndReset) {
    root.write_tool("/sbin/reboot", "echo restarted >> \"$ZEVSIC_ROOT/tmp/reboot.log\"");
    prepare_tools();
    for (const auto &[oid, resets] : {std::pair("1.54.0", 0), std::pair("1.55.0", 1)}) {
        EXPECT_EQ(set(oid, "integer 0"), STATUS_ACCEPTED);
        EXPECT_EQ(set(oid, "integer 2"), STATUS_WRONG_VALUE);
        EXPECT_EQ(set(oid, "integer 1"), STATUS_ACCEPTED);
        EXPECT_FALSE(root.has("/tmp/reboot.log")) << "the answer comes first";
        EXPECT_TRUE(soon(
            "one restart", [&] { return root.read("/tmp/reboot.log") == "restarted\n"; },
            [&] { return root.read("/tmp/reboot.log"); }));
        EXPECT_EQ(fake.resets, resets) << oid;
        std::filesystem::remove(root.path("/tmp/reboot.log"));
    }
}

TEST_F(SystemTest, StatusComesFromFilesThatMayBeMissing) {
    zevap->sample_time = 0;
    for (const char *oid : {"1.56.0", "1.59.0"}) EXPECT_EQ(get(oid), NOTHING) << oid;
    EXPECT_EQ(get("1.60.0").value, "Unknown");
    for (const auto &[file, shown] : {std::pair("12345.67", "1234567"), {"9.05 1.00\n", "905"}}) {
        root.write("/proc/uptime", file);
        EXPECT_EQ(get("1.56.0").value, shown);
    }
    root.write("/etc/version", std::string(1022, 'v') + "\nrest");
    EXPECT_EQ(get("1.59.0").value, std::string(1022, 'v') + "\n");
    root.write("/etc/version", "2\n");
    EXPECT_EQ(get("1.59.0").value.size(), 1023U) << "read once";
    const int memory = atoi(get("1.61.0").value.c_str());
    EXPECT_TRUE(memory > 0 && memory <= 100) << memory;
}

TEST_F(SystemTest, OnlyPortsThatMayBeManagedHaveRows) {
    const auto port_item = [](int port, const std::string &name, const char *value) {
        fake.item("network_L2", "lan:" + std::to_string(port) + "." + name, value);
    };
    for (const int port : {0, 1, 2, 3}) port_item(port, "controllable", port % 2 ? "enable" : "disable");
    fake.item("network_L2", "lan_num", "4");
    port_item(1, "vid", "4094");
    port_item(3, "tun", "enable");
    EXPECT_EQ(walked("1.66.1.1"), (Texts{"1.66.1.1.1=1", "1.66.1.1.3=3"}));
    EXPECT_EQ(walked("1.66.1.2"), (Texts{"1.66.1.2.1=2", "1.66.1.2.3=1"}));
    EXPECT_EQ(walked("1.66.1.4"), (Texts{"1.66.1.4.1=1", "1.66.1.4.3=2"}));
    EXPECT_EQ(get("1.66.1.3.0"), NOTHING);
    expect_sets({{"1.66.1.3.0", "", {}, {"2"}},
                 {"1.66.1.3.4", "", {}, {"2"}},
                 {"1.66.1.4.2", "", {}, {"2"}},
                 {"1.66.1.4.3", "network_L2 lan:3.tun=", {"2>enable"}, {}}});
    fake.working.erase("network_L2 lan:2.controllable");
    expect_sets({{"1.66.1.4.2", "network_L2 lan:2.tun=", {"2>enable"}, {}}});  // not said to be unmanaged

    port_item(0, "controllable", "enable");
    fake.item("network_L2", "lan_num", "3");
    build();
    EXPECT_EQ(walked("1.66.1.1"), (Texts{"1.66.1.1.0=0", "1.66.1.1.1=1"})) << "the first port is row 0";
    fake.item("network_L2", "lan_num", "2000000000");
    build();
    EXPECT_EQ(get("1.66.1.1.3").value, "3");
}
