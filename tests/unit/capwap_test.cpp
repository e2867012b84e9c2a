// Controller discovery, IPv6, WES, restart and reset.
#include <unistd.h>

#include "tests/unit/agent_fixture.h"

using Items = std::vector<std::string>;
static const Items REFUSED = {"refused 34"};

class CapwapTest : public AgentTest {
  protected:
    CapwapTest() {
        root.write("/etc/capwap", "");
        root.write("/proc/sys/net/ipv6/conf/all/disable_ipv6", "0\n");
        root.write("/sbin/zevwes", "");
    }
};

TEST_F(CapwapTest, WhatASetQueues) {
    const std::string longest = std::string(61, 'a') + ".de";
    struct {
        const char *oid;
        std::string value;
        Items items;
    } cases[] = {
        {"1.33.0", "2", {"capwap state=enable"}},
        {"1.35.0", "3", REFUSED},
        {"1.36.0", "ap.example.org", {"capwap discovery.srv_suffix=ap.example.org"}},
        {"1.36.0", longest, {"capwap discovery.srv_suffix=" + longest}},
        {"1.36.0", "b" + longest, REFUSED},
        {"1.36.0", "", REFUSED},
        {"1.38.0", "2", {"capwap discovery.broadcast=255.255.255.255"}},
        {"1.38.0", "1", {"capwap discovery.broadcast="}},
        {"1.39.0", "2", {"capwap discovery.multicast=224.0.1.140"}},
        {"1.42.0",
         "10.1.1.1",
         {"capwap aclist.ac_entry:1.priority=10", "capwap aclist.ac_entry:1.ip=10.1.1.1"}},
        {"1.42.0", "", {"capwap aclist.ac_entry:1.priority=999", "capwap aclist.ac_entry:1.ip="}},
        {"1.41.0", "", {"capwap aclist.ac_entry:0.priority=0", "capwap aclist.ac_entry:0.ip="}},
        {"1.45.0",
         "10.1.1.1",
         {"capwap aclist.ac_entry:4.priority=40", "capwap aclist.ac_entry:4.ip=10.1.1.1"}},
        {"1.45.0", "10.1.1", REFUSED},
        {"1.45.1", "10.1.1.1", {"refused 0"}},
        {"1.47.0", "1", {"ipv6 mode=static"}},
        {"1.53.0", "2", {"wes state=enable"}},
        {"1.53.9", "1", {"wes state=disable"}},
    };
    fake.item("capwap", "aclist.ac_entry:0.name", "controller");
    for (const auto &c : cases) EXPECT_EQ(queued_by(c.oid, c.value), c.items) << c.oid << " = " << c.value;
}

TEST_F(CapwapTest, PreconditionsReadTheStore) {
    fake.item("capwap", "discovery.dns_srv", "disable");
    fake.item("capwap", "discovery.unicast", "disable");
    fake.item("ipv6", "state", "disable");
    fake.item("ipv6", "mode", "static");
    for (const char *oid : {"1.41.0", "1.43.0", "1.45.0"})
        EXPECT_EQ(queued_by(oid, "10.1.1.1"), REFUSED) << oid;
    EXPECT_EQ(queued_by("1.36.0", "example.org"), REFUSED);
    EXPECT_EQ(queued_by("1.47.0", "1"), REFUSED);
    EXPECT_EQ(set("1.46.0", "integer 2"), STATUS_ACCEPTED);
    EXPECT_EQ(set("1.48.0", "string \"fe80::1\""), STATUS_WRONG_VALUE) << "a queued state does not count";

    fake.item("ipv6", "state", "enable");
    EXPECT_EQ(queued_by("1.48.0", "fe80::1"), Items{"ipv6 addr=fe80::1"});
    EXPECT_EQ(queued_by("1.49.0", "128"), Items{"ipv6 prefix=128"});
    EXPECT_EQ(queued_by("1.49.0", "129"), REFUSED);
    EXPECT_EQ(queued_by("1.50.0", "fe80::g"), REFUSED);
    fake.item("ipv6", "mode", "dhcp");
    EXPECT_EQ(queued_by("1.49.0", "64"), REFUSED);
}

TEST_F(CapwapTest, StoredTextsAndWhatTheyShow) {
    struct {
        const char *group, *key, *stored, *oid, *value;
    } cases[] = {
        {"capwap", "discovery.broadcast", "255.255.255.255", "1.38.0", "2"},
        {"capwap", "discovery.broadcast", "224.0.1.140", "1.38.0", "1"},
        {"capwap", "aclist.ac_entry:2.ip", "10.0.0.3", "1.43.0", "10.0.0.3"},
        {"ipv6", "mode", "static", "1.47.0", "1"},
        {"ipv6", "mode", "", "1.47.0", "2"},
        {"wes", "state", "enable", "1.53.4", "2"},
    };
    for (const auto &c : cases) {
        fake.item(c.group, c.key, c.stored);
        build();
        EXPECT_EQ(get(c.oid).value, c.value) << c.oid << " of " << c.stored;
    }
}

TEST_F(CapwapTest, ADeviceWithoutTheFeatureKeepsItOff) {
    struct {
        const char *file, *group, *oid, *trace;
    } cases[] = {{"/etc/capwap", "capwap", "1.33.0", "\nans= disable by file-validation.\n"},
                 {"/proc/sys/net/ipv6", "ipv6", "1.46.0", "\nans= disable by file-validation.\n"},
                 {"/sbin/zevwes", "wes", "1.53.0", "\nwes:disable by file-validation.\n"}};
    for (const auto &c : cases) {
        fake.item(c.group, "state", "enable");
        std::filesystem::remove_all(root.path(c.file));
        build();
        std::string value;
        const std::string trace = traced([&] { value = get(c.oid).value; });
        EXPECT_EQ(value, "1") << c.oid;
        EXPECT_NE(trace.find(c.trace), std::string::npos) << trace;
        EXPECT_EQ(queued_by(c.oid, "2"), Items{std::string(c.group) + " state=disable"});
        EXPECT_EQ(queued_by(c.oid, "0"), REFUSED);
    }
}

TEST_F(CapwapTest, RestartAndReset) {
    root.write_tool("/sbin/reboot", "echo restarted >> \"$ZEVSIC_ROOT/tmp/reboot.log\"");
    for (const char *oid : {"1.54.0", "1.55.0"}) {
        EXPECT_EQ(get(oid).value, "0");
        EXPECT_EQ(set(oid, "integer 0"), STATUS_ACCEPTED);
        EXPECT_EQ(set(oid, "integer 2"), STATUS_WRONG_VALUE);
    }
    for (const auto &[oid, resets] : {std::pair("1.54.0", 0), std::pair("1.55.0", 1)}) {
        EXPECT_EQ(set(oid, "integer 1"), STATUS_ACCEPTED);
        EXPECT_FALSE(root.has("/tmp/reboot.log")) << "the answer comes first";
        for (int i = 0; i < 500 && root.read("/tmp/reboot.log").empty(); i++) usleep(10000);
        EXPECT_EQ(root.read("/tmp/reboot.log"), "restarted\n");
        EXPECT_EQ(fake.resets, resets) << oid;
        std::filesystem::remove(root.path("/tmp/reboot.log"));
    }
}
