// The words people use for the values of enumerated objects, one table per enumeration.
#pragma once

#include <array>

// A value and the word people use for it.
struct Word {
    int value = 0;
    const char *text = nullptr;
};

using Words = std::array<Word, 16>;  // up to the first entry without a text

inline constexpr Words SWITCH_WORDS = {{{1, "disabled"}, {2, "enabled"}}};
inline constexpr Words TIME_SOURCE_WORDS = {{{1, "ntp"}, {2, "manual"}}};
inline constexpr Words LOG_LEVEL_WORDS = {{{0, "emergency"},
                                           {1, "alert"},
                                           {2, "critical"},
                                           {3, "error"},
                                           {4, "warning"},
                                           {5, "notice"},
                                           {6, "informational"},
                                           {7, "debug"}}};
inline constexpr Words APPLY_WORDS = {{{-1, "rebootNeeded"}, {0, "idle"}, {1, "applying"}}};
inline constexpr Words PERFORM_WORDS = {{{0, "none"}, {1, "perform"}}};

inline constexpr Words BAND_WORDS = {{{0, "disabled"},
                                      {1, "11a"},
                                      {2, "11b"},
                                      {3, "11g"},
                                      {4, "auto"},
                                      {5, "11na"},
                                      {6, "11ng"},
                                      {7, "11ac"}}};
inline constexpr Words CHANNEL_WIDTH_WORDS = {{{1, "20MHz"}, {2, "40MHz"}, {3, "40MHzStatic"}, {4, "80MHz"}}};
inline constexpr Words WIDTH_EXTENSION_WORDS = {{{1, "lower"}, {2, "upper"}}};
inline constexpr Words AIRTIME_FAIRNESS_WORDS = {{{0, "disabled"}, {1, "enabled"}, {2, "prefer"}}};

inline constexpr Words WDS_SECURITY_WORDS = {{{0, "none"}, {1, "WEP"}, {2, "WPA-PSK"}}};
inline constexpr Words WDS_WEP_LENGTH_WORDS = {{{1, "64bit"}, {2, "128bit"}, {3, "152bit"}}};
inline constexpr Words WDS_KEY_FORMAT_WORDS = {{{1, "ascii"}, {2, "hex"}}};
inline constexpr Words WDS_CIPHER_SUITE_WORDS = {{{1, "TKIP"}, {2, "AES-CCMP"}}};
inline constexpr Words WDS_PSK_TYPE_WORDS = {{{1, "psk"}, {2, "passphrase"}}};
inline constexpr Words STATION_BAND_WORDS = {{{1, "2.4GHz"}, {2, "5GHz"}}};
inline constexpr Words ETHER_TYPE_WORDS = {
    {{0, "any"}, {1, "IPv4"}, {2, "IEEE 802.3"}, {3, "VLAN"}, {4, "ARP"}, {5, "RARP"}}};
// 3 is read only: an action that the agent does not know.
inline constexpr Words RULE_ACTION_WORDS = {{{1, "drop"}, {2, "accept"}, {3, "other"}}};
inline constexpr Words IPV6_MODE_WORDS = {{{1, "static"}, {2, "dhcp"}}};
inline constexpr Words TRANSFER_DIRECTION_WORDS = {{{0, "none"}, {1, "fromServer"}, {2, "toServer"}}};
inline constexpr Words TRANSFER_COMMAND_WORDS = {
    {{0, "clear"}, {1, "upgrade"}, {2, "backup"}, {3, "restore"}}};
inline constexpr Words TRANSFER_STATUS_WORDS = {{{0, "idle"},
                                                 {1, "updating"},
                                                 {2, "backingUp"},
                                                 {3, "restarting"},
                                                 {4, "upgradeFailed"},
                                                 {5, "backupFailed"},
                                                 {6, "restoreFailed"}}};
inline constexpr Words SWITCH_MODE_WORDS = {{{0, "none"}, {1, "portBased"}, {2, "dot1q"}}};

// VAPs
inline constexpr Words ACCESS_CATEGORY_WORDS = {
    {{0, "voice"}, {1, "video"}, {2, "best effort"}, {3, "background"}}};
inline constexpr Words TUNNEL_WORDS = {{{1, "none"}, {2, "all"}, {3, "split"}}};
inline constexpr Words AUTHENTICATION_WORDS = {
    {{0, "open"}, {1, "WEP"}, {2, "802.1X"}, {3, "WPA-PSK"}, {4, "WPA-Enterprise"}, {5, "other"}}};
inline constexpr Words WEP_AUTHENTICATION_WORDS = {{{1, "open"}, {2, "shared"}, {3, "auto"}}};
inline constexpr Words WEP_LENGTH_WORDS = {{{1, "64bit"}, {2, "128bit"}, {3, "152bit"}, {4, "other"}}};
inline constexpr Words WEP_FORMAT_WORDS = {{{1, "ascii"}, {2, "hex"}}};
inline constexpr Words DYNAMIC_WEP_LENGTH_WORDS = {{{1, "64bit"}, {2, "128bit"}}};
inline constexpr Words CIPHER_SUITE_WORDS = {{{0, "other"},
                                              {1, "WPA TKIP"},
                                              {2, "WPA AES-CCMP"},
                                              {3, "WPA2 TKIP"},
                                              {4, "WPA2 AES-CCMP"},
                                              {5, "WPA/WPA2 mixed"}}};
inline constexpr Words PSK_FORMAT_WORDS = {{{0, "psk"}, {1, "passphrase"}}};
inline constexpr Words RATE_WORDS = {{{0, "6 Mbit/s"},
                                      {1, "9 Mbit/s"},
                                      {2, "1 Mbit/s"},
                                      {3, "2 Mbit/s"},
                                      {4, "5.5 Mbit/s"},
                                      {5, "11 Mbit/s"},
                                      {6, "12 Mbit/s"},
                                      {7, "18 Mbit/s"},
                                      {8, "24 Mbit/s"},
                                      {9, "36 Mbit/s"},
                                      {10, "48 Mbit/s"},
                                      {11, "54 Mbit/s"}}};

// Hotspot 2.0: the numbers of IEEE 802.11u
inline constexpr Words ACCESS_NETWORK_WORDS = {{{0, "private"},
                                                {1, "private with guests"},
                                                {2, "chargeable public"},
                                                {3, "free public"},
                                                {4, "personal device"},
                                                {5, "emergency only"},
                                                {14, "test"},
                                                {15, "wildcard"}}};
inline constexpr Words VENUE_GROUP_WORDS = {{{0, "unspecified"},
                                             {1, "assembly"},
                                             {2, "business"},
                                             {3, "educational"},
                                             {4, "factory"},
                                             {5, "institutional"},
                                             {6, "mercantile"},
                                             {7, "residential"},
                                             {8, "storage"},
                                             {9, "utility"},
                                             {10, "vehicular"},
                                             {11, "outdoor"}}};
inline constexpr Words LANGUAGE_WORDS = {{{0, "eng"}}};
inline constexpr Words NETWORK_AUTH_WORDS = {{{-1, "none"},
                                              {0, "terms and conditions"},
                                              {1, "online enrollment"},
                                              {2, "http redirection"},
                                              {3, "DNS redirection"}}};
inline constexpr Words IPV4_TYPE_WORDS = {{{0, "unavailable"},
                                           {1, "public"},
                                           {2, "port-restricted"},
                                           {3, "single NAT"},
                                           {4, "double NAT"},
                                           {5, "port-restricted, single NAT"},
                                           {6, "port-restricted, double NAT"},
                                           {7, "unknown"}}};
inline constexpr Words IPV6_TYPE_WORDS = {{{0, "unavailable"}, {1, "available"}, {2, "unknown"}}};
inline constexpr Words EAP_WORDS = {{{0, "none"}, {21, "EAP-TTLS"}, {25, "PEAP"}}};
