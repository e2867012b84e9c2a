// Questions to the kernel's wireless stack (nl80211), and its answers as structures. Meanings and units are
// those of linux/nl80211.h. In a device root the kernel is not asked: the answers are read from files that
// `zevnet record` wrote.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

struct nlmsghdr;
struct nl_msg;

using MacAddress = std::array<uint8_t, 6>;
std::string mac_text(const MacAddress &mac);  // "00:1a:2b:3c:4d:5e"

// Reads one message of an answer; whatever it does not understand it leaves alone.
using MessageReader = std::function<void(nlmsghdr *message)>;

enum class Nl80211Question : uint8_t {
    WIPHYS,      // every radio of the machine, in several messages each
    INTERFACES,  // every wireless interface
    STATIONS,    // of one interface; so are the others
    SURVEY,
    NEIGHBOURS,
};

// Asks about an interface (ignored where the question names none). False when the kernel could not be asked,
// refused, or broke off; what was read before counts. Waits 1 s at most for each message.
bool ask_nl80211(Nl80211Question question, const std::string &interface, const MessageReader &read);

// Has the interface's radio scan these frequencies (MHz), an access point's beside its work, and waits until
// it is done or `limit_ms` have passed. False when the radio refuses or another scan is going on.
bool scan_nl80211(const std::string &interface, const std::vector<uint32_t> &frequencies, int limit_ms);

// Writes the answers to all questions as files, for a device root.
bool record_nl80211(const std::string &folder);

// ---- answers ----

enum class RateKind : uint8_t { LEGACY, HT, VHT, HE };

struct Rate {
    uint32_t tenths = 0;  // of Mbit/s
    RateKind kind = RateKind::LEGACY;
};

struct WirelessStation {
    MacAddress mac{};
    bool has_signal = false;
    int signal = 0;                   // dBm, of the last frame
    uint64_t sent = 0, received = 0;  // bytes to it and from it
    uint32_t idle_ms = 0;
    uint32_t connected_s = 0;
    Rate sent_rate, received_rate;
    uint32_t flags = 0;    // bits 1 << NL80211_STA_FLAG_…
    bool admitted = true;  // false: not before it has shown that it knows the key
};
bool read_station_message(nlmsghdr *message, WirelessStation *station);

struct WirelessInterface {
    std::string name;
    uint32_t radio = 0;  // the index of its wiphy
    uint32_t type = 0;   // NL80211_IFTYPE_…
    MacAddress mac{};
    uint32_t frequency = 0;  // MHz, 0 while it has none
    int32_t power = 0;       // hundredths of dBm
};
bool read_interface_message(nlmsghdr *message, WirelessInterface *interface);

struct ChannelSurvey {
    uint32_t frequency = 0;  // MHz
    bool in_use = false;
    bool has_times = false;
    uint64_t time = 0, busy = 0, received = 0, sent = 0;  // ms since the radio began to count
};
bool read_survey_message(nlmsghdr *message, ChannelSurvey *survey);

struct Neighbour {
    MacAddress mac{};
    uint32_t frequency = 0;  // MHz
    int signal = 0;          // dBm
    bool has_signal = false;
    std::string ssid;  // any bytes; empty when it hides it
};
bool read_neighbour_message(nlmsghdr *message, Neighbour *neighbour);

struct WirelessChannel {
    uint32_t frequency = 0;  // MHz
    int max_power = 0;       // dBm
    bool disabled = false;   // by the country's rules
};

enum WirelessBand : uint8_t { BAND_2GHZ, BAND_5GHZ, BAND_COUNT };

struct WirelessRadio {
    uint32_t index = 0;
    std::string name;                 // "phy0"
    uint32_t transmit_antennas = 0;   // a bit each; 0 when the driver does not say
    bool access_point = false;        // it can be one
    uint32_t most_access_points = 1;  // at once, BSSs
    struct {
        std::vector<WirelessChannel> channels;  // empty: not its band
        int streams = 1;                        // spatial ones
        uint16_t ht =
            0;  // HT and VHT capabilities (IEEE 802.11, 9.4.2.55.2 and 9.4.2.157.2); 0: it does without
        uint32_t vht = 0;
    } bands[BAND_COUNT];
};
// dBm; 1 when the band has no channel that may be used.
int highest_power(const WirelessRadio &radio, WirelessBand band);

// Adds what the message says to its radio's entry, which it makes when there is none yet.
void read_radio_message(nlmsghdr *message, std::vector<WirelessRadio> *radios);

// The channel's number; 0 when it is none of 2.4 or 5 GHz.
int channel_number(uint32_t frequency);
