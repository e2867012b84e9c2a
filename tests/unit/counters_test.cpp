// Byte counters of interfaces.
#include "handler/counters.h"

#include <gtest/gtest.h>

#include "platform/device.h"
#include "tests/device_root.h"

TEST(Counters, AreReadFromTheLineOfTheTool) {
    const std::string line =
        "          RX bytes:123456 (120.5 KiB)  TX bytes:18446744073709551615 (16 EiB)\n";
    struct {
        std::string output;
        const char *marker, *digits;  // null: no counter
    } cases[] = {{line, "RX bytes", "123456"},
                 {line, "TX bytes", "18446744073709551615"},
                 {"RX bytes:12", "RX bytes", nullptr},
                 {"RX bytes: (0.0 B)", "RX bytes", nullptr},
                 {"RX bytes:-1 (0.0 B)", "RX bytes", nullptr},
                 {"RX packets 4  bytes 12 (12.0 B)", "RX bytes", nullptr},
                 {"", "TX bytes", nullptr}};
    for (const auto &c : cases) {
        std::string digits;
        EXPECT_EQ(parse_octets(c.output, c.marker, &digits), c.digits != nullptr) << c.output;
        if (c.digits) {
            EXPECT_EQ(digits, c.digits);
        }
    }
}

TEST(Counters, FallBackToTheKernel) {
    const DeviceRoot root;
    prepare_tools();
    root.write_tool("/sbin/ifconfig", "[ \"$1\" = ath0 ] && echo 'RX bytes:7 (7.0 B)'; exit 0");
    root.write("/sys/class/net/ath0/statistics/tx_bytes", "5000000000\n");
    root.write("/sys/class/net/ath1/statistics/rx_bytes", "nothing\n");
    EXPECT_EQ(interface_octets("ath0", true), "7");
    EXPECT_EQ(interface_octets("ath0", false), "5000000000");
    EXPECT_EQ(interface_octets("ath1", true), "0");
    EXPECT_EQ(interface_octets("ath2", true), "0");
    EXPECT_EQ(interface_octets("; touch $ZEVSIC_ROOT/tmp/x;", true), "0");
    EXPECT_FALSE(root.has("/tmp/x"));
}
