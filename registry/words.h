// The words people use for the values of enumerated objects, one table per enumeration.
#pragma once

#include <cstddef>

// A value and the word people use for it.
struct Word {
    int value = 0;
    const char *text = nullptr;
};

// An enumeration's words: one of the lists below, by its address. None: no enumeration.
class Words {
  public:
    constexpr Words() = default;
    template <size_t N>
    constexpr Words(const Word (*list)[N]) : first(*list), count(N) {}
    constexpr const Word *begin() const { return first; }
    constexpr const Word *end() const { return first + count; }
    constexpr size_t size() const { return count; }
    constexpr explicit operator bool() const { return count > 0; }
    friend constexpr bool operator==(const Words &a, const Words &b) { return a.first == b.first; }

  private:
    const Word *first = nullptr;
    size_t count = 0;
};

inline constexpr Word SWITCH_WORDS[] = {{1, "disabled"}, {2, "enabled"}};
inline constexpr Word TIME_SOURCE_WORDS[] = {{1, "ntp"}, {2, "manual"}};
inline constexpr Word LOG_LEVEL_WORDS[] = {{0, "emergency"},     {1, "alert"},   {2, "critical"},
                                           {3, "error"},         {4, "warning"}, {5, "notice"},
                                           {6, "informational"}, {7, "debug"}};
inline constexpr Word APPLY_WORDS[] = {{-1, "rebootNeeded"}, {0, "idle"}, {1, "applying"}};
inline constexpr Word PERFORM_WORDS[] = {{0, "none"}, {1, "perform"}};

inline constexpr Word BAND_WORDS[] = {{0, "disabled"}, {1, "11a"},  {2, "11b"},  {3, "11g"},
                                      {4, "auto"},     {5, "11na"}, {6, "11ng"}, {7, "11ac"}};
inline constexpr Word CHANNEL_WIDTH_WORDS[] = {{1, "20MHz"}, {2, "40MHz"}, {3, "40MHzStatic"}, {4, "80MHz"}};
inline constexpr Word WIDTH_EXTENSION_WORDS[] = {{1, "lower"}, {2, "upper"}};
inline constexpr Word AIRTIME_FAIRNESS_WORDS[] = {{0, "disabled"}, {1, "enabled"}, {2, "prefer"}};

inline constexpr Word WDS_SECURITY_WORDS[] = {{0, "none"}, {1, "WEP"}, {2, "WPA-PSK"}};
inline constexpr Word WDS_WEP_LENGTH_WORDS[] = {{1, "64bit"}, {2, "128bit"}, {3, "152bit"}};
inline constexpr Word WDS_KEY_FORMAT_WORDS[] = {{1, "ascii"}, {2, "hex"}};
inline constexpr Word WDS_CIPHER_SUITE_WORDS[] = {{1, "TKIP"}, {2, "AES-CCMP"}};
inline constexpr Word WDS_PSK_TYPE_WORDS[] = {{1, "psk"}, {2, "passphrase"}};
inline constexpr Word STATION_BAND_WORDS[] = {{1, "2.4GHz"}, {2, "5GHz"}};
inline constexpr Word ETHER_TYPE_WORDS[] = {{0, "any"},  {1, "IPv4"}, {2, "IEEE 802.3"},
                                            {3, "VLAN"}, {4, "ARP"},  {5, "RARP"}};
// 3 is read only: an action that the agent does not know.
inline constexpr Word RULE_ACTION_WORDS[] = {{1, "drop"}, {2, "accept"}, {3, "other"}};
inline constexpr Word IPV6_MODE_WORDS[] = {{1, "static"}, {2, "dhcp"}};
inline constexpr Word TRANSFER_DIRECTION_WORDS[] = {{0, "none"}, {1, "fromServer"}, {2, "toServer"}};
inline constexpr Word TRANSFER_COMMAND_WORDS[] = {
    {0, "clear"}, {1, "upgrade"}, {2, "backup"}, {3, "restore"}};
inline constexpr Word TRANSFER_STATUS_WORDS[] = {
    {0, "idle"},          {1, "updating"},     {2, "backingUp"},    {3, "restarting"},
    {4, "upgradeFailed"}, {5, "backupFailed"}, {6, "restoreFailed"}};
inline constexpr Word SWITCH_MODE_WORDS[] = {{0, "none"}, {1, "portBased"}, {2, "dot1q"}};

// VAPs
inline constexpr Word ACCESS_CATEGORY_WORDS[] = {
    {0, "voice"}, {1, "video"}, {2, "best effort"}, {3, "background"}};
inline constexpr Word TUNNEL_WORDS[] = {{1, "none"}, {2, "all"}, {3, "split"}};
inline constexpr Word AUTHENTICATION_WORDS[] = {
    {0, "open"}, {1, "WEP"}, {2, "802.1X"}, {3, "WPA-PSK"}, {4, "WPA-Enterprise"}, {5, "other"}};
inline constexpr Word WEP_AUTHENTICATION_WORDS[] = {{1, "open"}, {2, "shared"}, {3, "auto"}};
inline constexpr Word WEP_LENGTH_WORDS[] = {{1, "64bit"}, {2, "128bit"}, {3, "152bit"}, {4, "other"}};
inline constexpr Word WEP_FORMAT_WORDS[] = {{1, "ascii"}, {2, "hex"}};
inline constexpr Word DYNAMIC_WEP_LENGTH_WORDS[] = {{1, "64bit"}, {2, "128bit"}};
inline constexpr Word CIPHER_SUITE_WORDS[] = {{0, "other"},     {1, "WPA TKIP"},      {2, "WPA AES-CCMP"},
                                              {3, "WPA2 TKIP"}, {4, "WPA2 AES-CCMP"}, {5, "WPA/WPA2 mixed"}};
inline constexpr Word PSK_FORMAT_WORDS[] = {{0, "psk"}, {1, "passphrase"}};
inline constexpr Word RATE_WORDS[] = {{0, "6 Mbit/s"},  {1, "9 Mbit/s"},   {2, "1 Mbit/s"},
                                      {3, "2 Mbit/s"},  {4, "5.5 Mbit/s"}, {5, "11 Mbit/s"},
                                      {6, "12 Mbit/s"}, {7, "18 Mbit/s"},  {8, "24 Mbit/s"},
                                      {9, "36 Mbit/s"}, {10, "48 Mbit/s"}, {11, "54 Mbit/s"}};

// Hotspot 2.0: the numbers of IEEE 802.11u
inline constexpr Word ACCESS_NETWORK_WORDS[] = {{0, "private"},
                                                {1, "private with guests"},
                                                {2, "chargeable public"},
                                                {3, "free public"},
                                                {4, "personal device"},
                                                {5, "emergency only"},
                                                {14, "test"},
                                                {15, "wildcard"}};
inline constexpr Word VENUE_GROUP_WORDS[] = {{0, "unspecified"}, {1, "assembly"},    {2, "business"},
                                             {3, "educational"}, {4, "factory"},     {5, "institutional"},
                                             {6, "mercantile"},  {7, "residential"}, {8, "storage"},
                                             {9, "utility"},     {10, "vehicular"},  {11, "outdoor"}};
inline constexpr Word LANGUAGE_WORDS[] = {{0, "eng"}};
inline constexpr Word NETWORK_AUTH_WORDS[] = {{-1, "none"},
                                              {0, "terms and conditions"},
                                              {1, "online enrollment"},
                                              {2, "http redirection"},
                                              {3, "DNS redirection"}};
inline constexpr Word IPV4_TYPE_WORDS[] = {{0, "unavailable"},
                                           {1, "public"},
                                           {2, "port-restricted"},
                                           {3, "single NAT"},
                                           {4, "double NAT"},
                                           {5, "port-restricted, single NAT"},
                                           {6, "port-restricted, double NAT"},
                                           {7, "unknown"}};
inline constexpr Word IPV6_TYPE_WORDS[] = {{0, "unavailable"}, {1, "available"}, {2, "unknown"}};
inline constexpr Word EAP_WORDS[] = {{0, "none"}, {21, "EAP-TTLS"}, {25, "PEAP"}};

// The time zones of the device: their words are the names that the configuration stores.
inline constexpr Word TIMEZONE_WORDS[] = {
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
};
