// Operations of the product library: facts about the device's radios, VAP interfaces and stations.
// Interface name buffers hold at least IFNAME_SIZE bytes.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

constexpr size_t IFNAME_SIZE = 64;
constexpr int IFNAME_VAP = 1;               // kind of interface for get_ifname_by_idx
constexpr unsigned CAPABILITY_11AC = 0x20;  // 802.11ac and 80 MHz

// One associated station. A record exchanged with the library, in memory: the offsets are fixed, integers
// have the machine's own byte order (the access points with such a library are big-endian), the bytes between
// the named fields are the library's own.
struct sta_entry {
    uint8_t reserved0[4];
    char mac[18];  // "00:1a:2b:3c:4d:5e"
    uint8_t reserved1[2];
    int32_t rssi;  // signal strength in dBm is rssi − 95
    uint8_t reserved2[60];
    uint64_t tx_bytes;  // sent to the station
    uint64_t rx_bytes;  // received from it
    uint8_t reserved3[16];
    sta_entry *next;
};
static_assert(offsetof(sta_entry, mac) == 4 && offsetof(sta_entry, rssi) == 24);
static_assert(offsetof(sta_entry, tx_bytes) == 88 && offsetof(sta_entry, rx_bytes) == 96);
static_assert(offsetof(sta_entry, next) == 120);

// Radio and VAP from 0. Non-zero and the name, or 0 when the VAP has no interface.
int get_ifname_by_idx(int kind, int radio, int vap, char *out);
int rf_is_offload(int radio);                              // radio from 0; 1 for an offload radio
int get_rf_capable_mode(int radio, unsigned *capability);  // radio from 1; 0 when the word was written
int get_max_txpwr_level(int radio);                        // radio from 1; number of power levels
int get_txchainmask(int radio);                            // radio from 0; one bit per transmit chain
int find_enabled_vap(int radio, char *ifname);             // radio from 1; 1 and the interface name
sta_entry *get_sta_list(const char *ifname);               // null when there are none; free with:
void free_sta_list(sta_entry *list);
}
