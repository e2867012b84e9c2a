// The enumerations: for each value the word that people use and the text that stands for it in the store, one
// table per enumeration.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

struct Word {
    int value = 0;
    const char *text = "";
    const char *stored = nullptr;  // null: never stored, or stored as the number
    const char *also = nullptr;    // another stored text of the value
};

// An enumeration; copies share its table. Without words it is none.
struct Words {
    std::initializer_list<Word> list{};
    const char *otherwise = "";  // what the object shows when the store has none of the texts

    constexpr const Word *begin() const { return list.begin(); }
    constexpr const Word *end() const { return list.end(); }
    constexpr size_t size() const { return list.size(); }
    constexpr explicit operator bool() const { return list.size() > 0; }
    friend constexpr bool operator==(const Words &a, const Words &b) { return a.begin() == b.begin(); }

    // False: the store has the numbers themselves.
    constexpr bool are_stored() const {
        for (const Word &word : list)
            if (word.stored) return true;
        return false;
    }
    // The entry that has the word of a value, or null.
    constexpr const Word *of_value(int64_t value) const {
        for (const Word &word : list)
            if (word.value == value) return &word;
        return nullptr;
    }
    // The entry of a stored text, or null.
    constexpr const Word *of_stored(std::string_view text) const {
        for (const Word &word : list)
            if ((word.stored && text == word.stored) || (word.also && text == word.also)) return &word;
        return nullptr;
    }
};

inline constexpr Words SWITCH_WORDS = {{{1, "disabled", "disable"}, {2, "enabled", "enable"}}, "1"};

// The device
inline constexpr Words TIME_SOURCE_WORDS = {{{1, "ntp", "ntp"}, {2, "manual", "manual"}}, "2"};
// The time zones of the device: their words are the names that the configuration stores.
inline constexpr Words TIMEZONE_WORDS = {{
    {1, "Pacific/Kiritimati"},
    {2, "Pacific/Tongatapu"},
    {3, "Pacific/Fiji"},
    {4, "Pacific/Auckland"},
    {5, "Asia/Magadan"},
    {6, "Asia/Vladivostok"},
    {7, "Australia/Hobart"},
    {8, "Pacific/Guam"},
    {9, "Australia/Canberra"},
    {10, "Australia/Brisbane"},
    {11, "Australia/Darwin"},
    {12, "Australia/Adelaide"},
    {13, "Asia/Yakutsk"},
    {14, "Asia/Seoul"},
    {15, "Asia/Tokyo"},
    {16, "Asia/Taipei"},
    {17, "Australia/Perth"},
    {18, "Asia/Singapore"},
    {19, "Asia/Ulaanbaatar"},
    {20, "Asia/HongKong"},
    {21, "Asia/Krasnoyarsk"},
    {22, "Asia/Jakarta"},
    {23, "Asia/Rangoon"},
    {24, "Asia/Dhaka"},
    {25, "Asia/Novosibirsk"},
    {26, "Asia/Calcutta"},
    {27, "Asia/Karachi"},
    {28, "Asia/Tashkent"},
    {29, "Asia/Yekaterinburg"},
    {30, "Asia/Kabul"},
    {31, "Asia/Yerevan"},
    {32, "Asia/Muscat"},
    {33, "Asia/Tehran"},
    {34, "Africa/Nairobi"},
    {35, "Europe/Moscow"},
    {36, "Asia/Kuwait"},
    {37, "Asia/Baghdad"},
    {38, "Asia/Jerusalem"},
    {39, "Europe/Helsinki"},
    {40, "Africa/Harare"},
    {41, "Africa/Cairo"},
    {42, "Europe/Bucharest"},
    {43, "Europe/Athens"},
    {44, "Europe/Sarajevo"},
    {45, "Europe/Brussels"},
    {46, "Europe/Prague"},
    {47, "Europe/Amsterdam"},
    {48, "Europe/Dublin"},
    {49, "Africa/Casablanca"},
    {50, "Atlantic/Cape_Verde"},
    {51, "Atlantic/Azores"},
    {52, "Atlantic/South_Georgia"},
    {53, "America/Buenos_Aires"},
    {54, "Brazil/East"},
    {55, "US/Newfoundland_Time"},
    {56, "America/Santiago"},
    {57, "America/Caracas"},
    {58, "US/Atlantic_Time"},
    {59, "America/Indianapolis"},
    {60, "US/Eastern_Time"},
    {61, "US/Central_Time"},
    {62, "US/Mountain_Time"},
    {63, "US/Arizona"},
    {64, "US/Pacific_Time"},
    {65, "US/Alaska_Time"},
    {66, "US/Hawaii_Time"},
    {67, "US/Samoa"},
    {68, "Etc/GMT+12"},
}};
inline constexpr Words LOG_LEVEL_WORDS = {{{0, "emergency"},
                                           {1, "alert"},
                                           {2, "critical"},
                                           {3, "error"},
                                           {4, "warning"},
                                           {5, "notice"},
                                           {6, "informational"},
                                           {7, "debug"}}};
// Discovery of a controller by a request to everyone is stored as the address that the request goes to.
inline constexpr Words BROADCAST_WORDS = {{{1, "disabled", ""}, {2, "enabled", "255.255.255.255"}}, "1"};
inline constexpr Words MULTICAST_WORDS = {{{1, "disabled", ""}, {2, "enabled", "224.0.1.140"}}, "1"};
inline constexpr Words IPV6_MODE_WORDS = {{{1, "static", "static"}, {2, "dhcp", "dhcp"}}, "2"};
inline constexpr Words APPLY_WORDS = {{{-1, "rebootNeeded"}, {0, "idle"}, {1, "applying"}}};
inline constexpr Words PERFORM_WORDS = {{{0, "none"}, {1, "perform"}}};
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
// 0 is read only: a device without a configurable switch.
inline constexpr Words SWITCH_MODE_WORDS = {
    {{0, "none"}, {1, "portBased", "PORT-BASED"}, {2, "dot1q", "802.1Q"}}, "1"};

// Radios
inline constexpr Words BAND_WORDS = {{{0, "disabled"},
                                      {1, "11a", "11a"},
                                      {2, "11b", "11b"},
                                      {3, "11g", "11g"},
                                      {4, "auto", "auto"},
                                      {5, "11na", "11na"},
                                      {6, "11ng", "11ng"},
                                      {7, "11ac", "11ac"}},
                                     "0"};
inline constexpr Words CHANNEL_WIDTH_WORDS = {
    {{1, "20MHz", "20"}, {2, "40MHz", "40"}, {3, "40MHzStatic", "40static"}, {4, "80MHz", "80"}}, "0"};
inline constexpr Words WIDTH_EXTENSION_WORDS = {{{1, "lower", "l"}, {2, "upper", "u"}}, "2"};
inline constexpr Words AIRTIME_FAIRNESS_WORDS = {
    {{0, "disabled", "disable"}, {1, "enabled", "enable"}, {2, "prefer", "prefer"}}, "0"};

// WDS links
inline constexpr Words WDS_SECURITY_WORDS = {{{0, "none"}, {1, "WEP"}, {2, "WPA-PSK"}}};
inline constexpr Words WDS_WEP_LENGTH_WORDS = {
    {{1, "64bit", "64"}, {2, "128bit", "128"}, {3, "152bit", "152"}}, "Unallowable WEP Key Length"};
inline constexpr Words WDS_CIPHER_SUITE_WORDS = {{{1, "TKIP", "rc4-tkip"}, {2, "AES-CCMP", "aes-ccmp"}},
                                                 "Invalid WPA Cipher Suite"};
inline constexpr Words WDS_PSK_TYPE_WORDS = {{{1, "psk", "psk"}, {2, "passphrase", "passphrase"}}, "2"};

inline constexpr Words STATION_BAND_WORDS = {{{1, "2.4GHz"}, {2, "5GHz"}}};

// The layer-2 firewall
inline constexpr Words ETHER_TYPE_WORDS = {{{0, "any", ""},
                                            {1, "IPv4", "IPv4"},
                                            {2, "IEEE 802.3", "IEEE_8023"},
                                            {3, "VLAN", "VLAN"},
                                            {4, "ARP", "ARP"},
                                            {5, "RARP", "RARP"}},
                                           "0"};
// A rule without an action accepts. 3 is read only: an action that the agent does not know.
inline constexpr Words RULE_ACTION_WORDS = {{{1, "drop", "DROP"}, {2, "accept", "ACCEPT", ""}, {3, "other"}},
                                            "3"};

// VAPs
// For each traffic class the store keeps the 802.1p priority that stands for an access category.
inline constexpr Words ACCESS_CATEGORY_WORDS = {
    {{0, "voice", "6"}, {1, "video", "4"}, {2, "best effort", "0"}, {3, "background", "1"}}, "-1"};
inline constexpr Words TUNNEL_WORDS = {{{1, "none"}, {2, "all"}, {3, "split"}}};
inline constexpr Words AUTHENTICATION_WORDS = {
    {{0, "open"}, {1, "WEP"}, {2, "802.1X"}, {3, "WPA-PSK"}, {4, "WPA-Enterprise"}, {5, "other"}}};
inline constexpr Words WEP_AUTHENTICATION_WORDS = {
    {{1, "open", "open"}, {2, "shared", "shared"}, {3, "auto", "auto"}}, "1"};
inline constexpr Words WEP_LENGTH_WORDS = {
    {{1, "64bit", "64"}, {2, "128bit", "128"}, {3, "152bit", "152"}, {4, "other"}}, "4"};
inline constexpr Words WEP_FORMAT_WORDS = {{{1, "ascii", "ascii"}, {2, "hex", "hex"}}, "2"};
inline constexpr Words DYNAMIC_WEP_LENGTH_WORDS = {{{1, "64bit", "64"}, {2, "128bit", "128"}}, "2"};
inline constexpr Words CIPHER_SUITE_WORDS = {{{0, "other"},
                                              {1, "WPA TKIP"},
                                              {2, "WPA AES-CCMP"},
                                              {3, "WPA2 TKIP"},
                                              {4, "WPA2 AES-CCMP"},
                                              {5, "WPA/WPA2 mixed"}}};
inline constexpr Words PSK_FORMAT_WORDS = {{{0, "psk", "psk"}, {1, "passphrase", "passphrase"}}, "0"};
// The same rates, stored in kbit/s and in units of 500 kbit/s.
inline constexpr Words MULTICAST_RATE_WORDS = {{{0, "6 Mbit/s", "6000"},
                                                {1, "9 Mbit/s", "9000"},
                                                {2, "1 Mbit/s", "1000"},
                                                {3, "2 Mbit/s", "2000"},
                                                {4, "5.5 Mbit/s", "5500"},
                                                {5, "11 Mbit/s", "11000"},
                                                {6, "12 Mbit/s", "12000"},
                                                {7, "18 Mbit/s", "18000"},
                                                {8, "24 Mbit/s", "24000"},
                                                {9, "36 Mbit/s", "36000"},
                                                {10, "48 Mbit/s", "48000"},
                                                {11, "54 Mbit/s", "54000"}},
                                               "-1"};
inline constexpr Words MANAGEMENT_RATE_WORDS = {{{0, "6 Mbit/s", "12"},
                                                 {1, "9 Mbit/s", "18"},
                                                 {2, "1 Mbit/s", "2"},
                                                 {3, "2 Mbit/s", "4"},
                                                 {4, "5.5 Mbit/s", "11"},
                                                 {5, "11 Mbit/s", "22"},
                                                 {6, "12 Mbit/s", "24"},
                                                 {7, "18 Mbit/s", "36"},
                                                 {8, "24 Mbit/s", "48"},
                                                 {9, "36 Mbit/s", "72"},
                                                 {10, "48 Mbit/s", "96"},
                                                 {11, "54 Mbit/s", "108"}},
                                                "-1"};

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
inline constexpr Words LANGUAGE_WORDS = {{{0, "eng", "eng"}}, "-1"};
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
