// The stations in the kernel's messages. Built when the kernel is asked at all.
#ifdef ZEVSIC_NL80211
#include <gtest/gtest.h>
#include <linux/nl80211.h>
#include <netlink/genl/genl.h>
#include <netlink/netlink.h>

#include <functional>

#include "platform/nl80211.h"

static const MacAddress MAC = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0xfe};

// A message with that content below the station's information, and with that many bytes of an address.
static bool read(int mac_length, const std::function<void(nl_msg *)> &put_info, WirelessStation *station) {
    nl_msg *message = nlmsg_alloc();
    genlmsg_put(message, 0, 0, 30, 0, 0, NL80211_CMD_NEW_STATION, 1);
    nla_put_u32(message, NL80211_ATTR_IFINDEX, 3);
    if (mac_length > 0) nla_put(message, NL80211_ATTR_MAC, mac_length, MAC.data());
    if (put_info) {
        nlattr *info = nla_nest_start(message, NL80211_ATTR_STA_INFO);
        put_info(message);
        nla_nest_end(message, info);
    }
    const bool is_station = read_station_message(nlmsg_hdr(message), station);
    nlmsg_free(message);
    return is_station;
}

TEST(Nl80211, StationsInMessages) {
    WirelessStation station;
    ASSERT_TRUE(read(
        6,
        [](nl_msg *message) {
            nla_put_u8(message, NL80211_STA_INFO_SIGNAL, static_cast<uint8_t>(-55));
            nla_put_u32(message, NL80211_STA_INFO_TX_BYTES, 5);
            nla_put_u64(message, NL80211_STA_INFO_TX_BYTES64, (1ULL << 32) + 5);
            nla_put_u32(message, NL80211_STA_INFO_RX_BYTES, 7);
        },
        &station));
    EXPECT_EQ(station.mac, MAC);
    EXPECT_EQ(station.signal, -55);
    EXPECT_EQ(station.sent, (1ULL << 32) + 5);
    EXPECT_EQ(station.received, 7U) << "a driver that counts in 32 bits";

    EXPECT_TRUE(read(6, nullptr, &station)) << "a station of which nothing else is known";
    for (const int length : {0, 5}) EXPECT_FALSE(read(length, nullptr, &station)) << length;
}
#endif
