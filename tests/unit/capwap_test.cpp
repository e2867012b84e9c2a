// Controller discovery, IPv6, WES, restart and reset.
#include <unistd.h>

#include "tests/unit/agent_fixture.h"

class CapwapTest : public AgentTest {
  protected:
    CapwapTest() {
        root.write("/etc/capwap", "");
        root.write("/proc/sys/net/ipv6/conf/all/disable_ipv6", "0\n");
        root.write("/sbin/zevwes", "");
    }
};

TEST_F(CapwapTest, WhatASetQueues) {
    const std::string entry = "capwap aclist.ac_entry:";
    fake.item("capwap", "aclist.ac_entry:0.name", "controller");
    expect_sets({{"1.42.0", entry, {"10.1.1.1>1.priority=10 + " + entry + "1.ip=10.1.1.1"}, {"10.1.1"}},
                 {"1.42.0", entry, {">1.priority=999 + " + entry + "1.ip="}, {}},
                 {"1.41.0", entry, {">0.priority=0 + " + entry + "0.ip="}, {}}});
}

TEST_F(CapwapTest, PreconditionsReadTheStore) {
    for (const char *key : {"discovery.dns_srv", "discovery.unicast"}) fake.item("capwap", key, "disable");
    fake.item("ipv6", "state", "disable");
    fake.item("ipv6", "mode", "static");
    for (const char *oid : {"1.41.0", "1.43.0", "1.45.0"})
        EXPECT_EQ(queued_by(oid, "10.1.1.1"), REFUSED) << oid;
    expect_sets({{"1.36.0", "", {}, {"example.org"}}, {"1.47.0", "", {}, {"1"}}});
    EXPECT_EQ(set("1.46.0", "integer 2"), STATUS_ACCEPTED);
    EXPECT_EQ(set("1.48.0", "string \"fe80::1\""), STATUS_WRONG_VALUE) << "a queued state does not count";

    fake.item("ipv6", "state", "enable");
    expect_sets({{"1.48.0", "ipv6 addr=", {"fe80::1"}, {}},
                 {"1.49.0", "ipv6 prefix=", {"128"}, {}},
                 {"1.50.0", "", {}, {"fe80::g"}}});
    fake.item("ipv6", "mode", "dhcp");
    EXPECT_EQ(queued_by("1.49.0", "64"), REFUSED);
}

TEST_F(CapwapTest, ADeviceWithoutTheFeatureKeepsItOff) {
    struct {
        const char *file, *group, *oid;
    } cases[] = {{"/etc/capwap", "capwap", "1.33.0"},
                 {"/proc/sys/net/ipv6", "ipv6", "1.46.0"},
                 {"/sbin/zevwes", "wes", "1.53.0"}};
    for (const auto &c : cases) {
        fake.item(c.group, "state", "enable");
        std::filesystem::remove_all(root.path(c.file));
        build();
        EXPECT_EQ(get(c.oid).value, "1") << c.oid;
        expect_sets({{c.oid, std::string(c.group) + " state=", {"2>disable"}, {}}});
    }
}

TEST_F(CapwapTest, RestartAndReset) {
    root.write_tool("/sbin/reboot", "echo restarted >> \"$ZEVSIC_ROOT/tmp/reboot.log\"");
    for (const auto &[oid, resets] : {std::pair("1.54.0", 0), std::pair("1.55.0", 1)}) {
        EXPECT_EQ(set(oid, "integer 0"), STATUS_ACCEPTED);
        EXPECT_EQ(set(oid, "integer 2"), STATUS_WRONG_VALUE);
        EXPECT_EQ(set(oid, "integer 1"), STATUS_ACCEPTED);
        EXPECT_FALSE(root.has("/tmp/reboot.log")) << "the answer comes first";
        for (int i = 0; i < 500 && root.read("/tmp/reboot.log").empty(); i++) usleep(10000);
        EXPECT_EQ(root.read("/tmp/reboot.log"), "restarted\n");
        EXPECT_EQ(fake.resets, resets) << oid;
        std::filesystem::remove(root.path("/tmp/reboot.log"));
    }
}
