// Switch mode, LAN ports and management addresses.
#include "tests/unit/agent_fixture.h"

class PortsTest : public AgentTest {
  protected:
    PortsTest() {
        fake.item("network_L2", "vlan_type", "802.1Q");
        fake.item("network_L2", "lan_num", "4");
        for (const int port : {0, 1, 2, 3}) {
            port_item(port, "controllable", port % 2 ? "enable" : "disable");
            port_item(port, "vid", "4096");
            port_item(port, "tun", "disable");
        }
    }
    static void port_item(int port, const std::string &name, const char *value) {
        fake.item("network_L2", "lan:" + std::to_string(port) + "." + name, value);
    }
};

TEST_F(PortsTest, OnlyPortsThatMayBeManagedHaveRows) {
    port_item(1, "vid", "4094");
    port_item(3, "tun", "enable");
    EXPECT_EQ(walked("1.66.1.1"), (Items{"1.66.1.1.1=1", "1.66.1.1.3=3"}));
    EXPECT_EQ(walked("1.66.1.2"), (Items{"1.66.1.2.1=2", "1.66.1.2.3=1"}));
    EXPECT_EQ(walked("1.66.1.3"), (Items{"1.66.1.3.1=4094", "1.66.1.3.3=4096"}));
    EXPECT_EQ(walked("1.66.1.4"), (Items{"1.66.1.4.1=1", "1.66.1.4.3=2"}));
    EXPECT_EQ(get("1.66.1.3.0"), (Answer{0, "", ""}));

    port_item(0, "controllable", "enable");
    fake.item("network_L2", "lan_num", "3");
    build();
    EXPECT_EQ(walked("1.66.1.1"), (Items{"1.66.1.1.0=0", "1.66.1.1.1=1"})) << "the first port is row 0";
    fake.item("network_L2", "lan_num", "2000000000");
    build();
    EXPECT_EQ(get("1.66.1.1.3").value, "3");
}

TEST_F(PortsTest, WhatASetQueues) {
    const std::string lan = "network_L2 lan:", entry = "remote_manage entry:";
    expect_sets({{"1.65.0", "network_L2 vlan_type=", {"1>PORT-BASED", "2>802.1Q"}, {}},
                 {"1.66.1.3.1", lan + "1.vid=", {"0>4096"}, {}},
                 {"1.66.1.4.3", lan + "3.tun=", {"2>enable"}, {}},
                 {"1.67.1.2.3", entry + "2.ip=", {"any text"}, {}},
                 {"1.67.1.2.10", entry + "9.ip=", {""}, {}}});
    for (const char *no_row : {"1.66.1.3.0", "1.66.1.3.4", "1.66.1.4.2", "1.67.1.2.0", "1.67.1.2.11"})
        EXPECT_EQ(queued_by(no_row, "2"), REFUSED) << no_row;
    EXPECT_EQ(get("1.65.0").value, "2");
    fake.working.erase({"network_L2", "lan:2.controllable"});
    EXPECT_EQ(queued_by("1.66.1.4.2", "2"), Items{"network_L2 lan:2.tun=enable"})
        << "not said to be unmanaged";
}

TEST_F(PortsTest, ADeviceWithoutAConfigurableSwitch) {
    fake.working.erase({"network_L2", "vlan_type"});
    build();
    EXPECT_EQ(get("1.65.0"), (Answer{INTEGER, "1.65.0", "0"}));
    EXPECT_EQ(queued_by("1.65.0", "2"), REFUSED);
}
