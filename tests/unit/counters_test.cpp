// Byte counters of interfaces.
#include "handler/counters.h"

#include <gtest/gtest.h>

#include "platform/device.h"
#include "tests/device_root.h"

TEST(Counters, AreReadFromTheLineOfTheToolElseFromTheKernel) {
    const DeviceRoot root;
    prepare_tools();
    root.write_tool("/sbin/ifconfig", "cat \"$ZEVSIC_ROOT/line\"; [ \"$1\" = ath0 ]");
    root.write("/sys/class/net/ath0/statistics/rx_bytes", "5000000000\n");
    const std::string good =
        "          RX bytes:123456 (120.5 KiB)  TX bytes:18446744073709551615 (16 EiB)\n";
    const std::pair<std::string, const char *> cases[] = {{good, "123456"},
                                                          {"RX bytes:12", "5000000000"},
                                                          {"RX bytes: (0.0 B)", "5000000000"},
                                                          {"RX bytes:-1 (0.0 B)", "5000000000"},
                                                          {"RX packets 4  bytes 12 (12.0 B)", "5000000000"},
                                                          {"", "5000000000"}};
    for (const auto &[line, octets] : cases) {
        root.write("/line", line);
        EXPECT_EQ(interface_octets("ath0", true), octets) << line;
    }
    root.write("/sys/class/net/ath1/statistics/rx_bytes", "nothing\n");
    EXPECT_EQ(interface_octets("ath1", true), "0");
    EXPECT_EQ(interface_octets("ath2", true), "0");
    root.write("/line", good);
    EXPECT_EQ(interface_octets("ath0", false), "18446744073709551615");
    EXPECT_EQ(interface_octets("; touch $ZEVSIC_ROOT/tmp/x;", true), "123456");
    EXPECT_FALSE(root.has("/tmp/x"));
}
