// The kernel's wireless messages as structures.
#include <linux/nl80211.h>
#include <netlink/genl/genl.h>
#include <netlink/netlink.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include "platform/nl80211.h"

std::string mac_text(const MacAddress &mac) {
    char text[18];
    snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
             mac[5]);
    return text;
}

int channel_number(uint32_t frequency) {
    if (frequency == 2484) return 14;
    if (frequency >= 2412 && frequency <= 2472) return static_cast<int>((frequency - 2407) / 5);
    if (frequency >= 5160 && frequency <= 5885) return static_cast<int>((frequency - 5000) / 5);
    return 0;
}

// ---- attributes: the kernel's, but shorter ones than what is read are not read ----

template <typename T>
static bool take(const nlattr *attribute, T *out) {
    if (attribute == nullptr || nla_len(attribute) < static_cast<int>(sizeof *out)) return false;
    memcpy(out, nla_data(attribute), sizeof *out);
    return true;
}

static uint32_t take_u32(const nlattr *attribute) {
    uint32_t number = 0;
    take(attribute, &number);
    return number;
}

template <int MAX>
struct Attributes {
    nlattr *at[MAX + 1] = {};
    nlattr *operator[](int type) const { return at[type]; }
    bool parse_message(nlmsghdr *message) {
        return genlmsg_valid_hdr(message, 0) != 0 && genlmsg_parse(message, 0, at, MAX, nullptr) >= 0;
    }
    bool parse_nested(nlattr *nested) {
        return nested != nullptr && nla_parse_nested(at, MAX, nested, nullptr) >= 0;
    }
};

using MessageAttributes = Attributes<NL80211_ATTR_MAX>;

// Some drivers count in 32 bits only.
static uint64_t read_counter(const nlattr *wide, const nlattr *narrow) {
    uint64_t number = 0;
    return take(wide, &number) ? number : take_u32(narrow);
}

// ---- stations ----

static Rate read_rate(nlattr *nested) {
    Attributes<NL80211_RATE_INFO_MAX> info;
    Rate rate;
    if (!info.parse_nested(nested)) return rate;
    uint16_t narrow = 0;
    if (!take(info[NL80211_RATE_INFO_BITRATE32], &rate.tenths) &&
        take(info[NL80211_RATE_INFO_BITRATE], &narrow))
        rate.tenths = narrow;
    if (info[NL80211_RATE_INFO_MCS] != nullptr) rate.kind = RateKind::HT;
    if (info[NL80211_RATE_INFO_VHT_MCS] != nullptr) rate.kind = RateKind::VHT;
    if (info[NL80211_RATE_INFO_HE_MCS] != nullptr) rate.kind = RateKind::HE;
    return rate;
}

bool read_station_message(nlmsghdr *message, WirelessStation *station) {
    MessageAttributes attributes;
    Attributes<NL80211_STA_INFO_MAX> info;
    *station = {};
    if (!attributes.parse_message(message) || !take(attributes[NL80211_ATTR_MAC], &station->mac))
        return false;
    nlattr *nested = attributes[NL80211_ATTR_STA_INFO];
    if (nested == nullptr) return true;
    if (!info.parse_nested(nested)) return false;
    int8_t signal = 0;
    station->has_signal = take(info[NL80211_STA_INFO_SIGNAL], &signal);
    station->signal = signal;
    station->sent = read_counter(info[NL80211_STA_INFO_TX_BYTES64], info[NL80211_STA_INFO_TX_BYTES]);
    station->received = read_counter(info[NL80211_STA_INFO_RX_BYTES64], info[NL80211_STA_INFO_RX_BYTES]);
    station->idle_ms = take_u32(info[NL80211_STA_INFO_INACTIVE_TIME]);
    station->connected_s = take_u32(info[NL80211_STA_INFO_CONNECTED_TIME]);
    station->sent_rate = read_rate(info[NL80211_STA_INFO_TX_BITRATE]);
    station->received_rate = read_rate(info[NL80211_STA_INFO_RX_BITRATE]);
    nl80211_sta_flag_update flags = {};
    if (take(info[NL80211_STA_INFO_STA_FLAGS], &flags)) {
        constexpr uint32_t AUTHORIZED = 1U << NL80211_STA_FLAG_AUTHORIZED;
        station->flags = flags.mask & flags.set;
        station->admitted = (flags.mask & AUTHORIZED) == 0 || (flags.set & AUTHORIZED) != 0;
    }
    return true;
}

// ---- interfaces, survey, neighbours ----

static std::string text_of(const nlattr *attribute) {
    if (attribute == nullptr) return {};
    const auto *text = static_cast<const char *>(nla_data(attribute));
    return {text, strnlen(text, static_cast<size_t>(nla_len(attribute)))};
}

bool read_interface_message(nlmsghdr *message, WirelessInterface *interface) {
    MessageAttributes attributes;
    *interface = {};
    if (!attributes.parse_message(message)) return false;
    interface->name = text_of(attributes[NL80211_ATTR_IFNAME]);
    interface->radio = take_u32(attributes[NL80211_ATTR_WIPHY]);
    interface->type = take_u32(attributes[NL80211_ATTR_IFTYPE]);
    interface->frequency = take_u32(attributes[NL80211_ATTR_WIPHY_FREQ]);
    interface->power = static_cast<int32_t>(take_u32(attributes[NL80211_ATTR_WIPHY_TX_POWER_LEVEL]));
    take(attributes[NL80211_ATTR_MAC], &interface->mac);
    return !interface->name.empty();
}

bool read_survey_message(nlmsghdr *message, ChannelSurvey *survey) {
    MessageAttributes attributes;
    Attributes<NL80211_SURVEY_INFO_MAX> info;
    *survey = {};
    if (!attributes.parse_message(message) || !info.parse_nested(attributes[NL80211_ATTR_SURVEY_INFO]))
        return false;
    survey->frequency = take_u32(info[NL80211_SURVEY_INFO_FREQUENCY]);
    survey->in_use = info[NL80211_SURVEY_INFO_IN_USE] != nullptr;
    survey->has_times = take(info[NL80211_SURVEY_INFO_TIME], &survey->time);
    take(info[NL80211_SURVEY_INFO_TIME_BUSY], &survey->busy);
    take(info[NL80211_SURVEY_INFO_TIME_RX], &survey->received);
    take(info[NL80211_SURVEY_INFO_TIME_TX], &survey->sent);
    return survey->frequency != 0;
}

// The text of the first SSID element among information elements (IEEE 802.11, 9.4.2.1: number, length,
// content).
static std::string ssid_in(const nlattr *elements) {
    const auto *bytes = static_cast<const uint8_t *>(nla_data(elements));
    const auto size = static_cast<size_t>(nla_len(elements));
    for (size_t at = 0; at + 2 <= size; at += 2 + bytes[at + 1]) {
        const size_t length = bytes[at + 1];
        if (at + 2 + length > size) break;
        if (bytes[at] != 0) continue;
        const std::string ssid(reinterpret_cast<const char *>(bytes + at + 2), std::min<size_t>(length, 32));
        // A hidden one is empty or zeros.
        return ssid.find_first_not_of('\0') == std::string::npos ? std::string() : ssid;
    }
    return {};
}

bool read_neighbour_message(nlmsghdr *message, Neighbour *neighbour) {
    MessageAttributes attributes;
    Attributes<NL80211_BSS_MAX> bss;
    *neighbour = {};
    if (!attributes.parse_message(message) || !bss.parse_nested(attributes[NL80211_ATTR_BSS]) ||
        !take(bss[NL80211_BSS_BSSID], &neighbour->mac))
        return false;
    neighbour->frequency = take_u32(bss[NL80211_BSS_FREQUENCY]);
    int32_t hundredths = 0;
    neighbour->has_signal = take(bss[NL80211_BSS_SIGNAL_MBM], &hundredths);
    neighbour->signal = hundredths / 100;
    // A probe response has the name that the beacon may hide.
    for (const nlattr *elements : {bss[NL80211_BSS_INFORMATION_ELEMENTS], bss[NL80211_BSS_BEACON_IES]})
        if (neighbour->ssid.empty() && elements != nullptr) neighbour->ssid = ssid_in(elements);
    return true;
}

// ---- radios ----

static void read_channels(nlattr *list, std::vector<WirelessChannel> *channels) {
    nlattr *entry;
    int left;
    nla_for_each_nested(entry, list, left) {
        Attributes<NL80211_FREQUENCY_ATTR_MAX> attributes;
        WirelessChannel channel;
        if (!attributes.parse_nested(entry)) continue;
        channel.frequency = take_u32(attributes[NL80211_FREQUENCY_ATTR_FREQ]);
        channel.max_power = static_cast<int>(take_u32(attributes[NL80211_FREQUENCY_ATTR_MAX_TX_POWER]) / 100);
        channel.disabled = attributes[NL80211_FREQUENCY_ATTR_DISABLED] != nullptr;
        if (channel_number(channel.frequency) != 0) channels->push_back(channel);
    }
}

// Streams that HT's set of rates (a byte a stream, IEEE 802.11, 9.4.2.55.4) and VHT's maps (two bits a
// stream, 3 for none, 9.4.2.157.3) tell of.
static int ht_streams(const uint8_t (&set)[4]) {
    return std::max(1,
                    static_cast<int>(std::count_if(set, set + 4, [](uint8_t rates) { return rates != 0; })));
}

static int vht_streams(uint16_t map) {
    int streams = 1;
    for (int i = 1; i < 8; i++)
        if ((map >> 2 * i & 3) != 3) streams = i + 1;
    return streams;
}

static void read_bands(nlattr *list, WirelessRadio *radio) {
    nlattr *entry;
    int left;
    nla_for_each_nested(entry, list, left) {
        if (nla_type(entry) != NL80211_BAND_2GHZ && nla_type(entry) != NL80211_BAND_5GHZ) continue;
        auto &band = radio->bands[nla_type(entry) == NL80211_BAND_2GHZ ? BAND_2GHZ : BAND_5GHZ];
        Attributes<NL80211_BAND_ATTR_MAX> attributes;
        if (!attributes.parse_nested(entry)) continue;
        if (attributes[NL80211_BAND_ATTR_FREQS] != nullptr)
            read_channels(attributes[NL80211_BAND_ATTR_FREQS], &band.channels);
        uint8_t ht_set[4];
        struct {
            uint16_t receive, receive_highest, transmit, transmit_highest;
        } vht_set;
        if (take(attributes[NL80211_BAND_ATTR_HT_MCS_SET], &ht_set)) {
            take(attributes[NL80211_BAND_ATTR_HT_CAPA], &band.ht);
            band.streams = std::max(band.streams, ht_streams(ht_set));
        }
        if (take(attributes[NL80211_BAND_ATTR_VHT_MCS_SET], &vht_set)) {
            take(attributes[NL80211_BAND_ATTR_VHT_CAPA], &band.vht);
            // Little-endian, as on the air.
            const auto *byte = reinterpret_cast<const uint8_t *>(&vht_set.transmit);
            band.streams = std::max(band.streams, vht_streams(static_cast<uint16_t>(byte[0] | byte[1] << 8)));
        }
    }
}

static bool lists_access_point(nlattr *types) {
    nlattr *type;
    int left;
    nla_for_each_nested(type, types, left) if (nla_type(type) == NL80211_IFTYPE_AP) return true;
    return false;
}

// The most access points that one of the combinations of interfaces has room for.
static uint32_t most_access_points(nlattr *combinations) {
    uint32_t most = 1;
    nlattr *combination, *limit;
    int left, limits_left;
    nla_for_each_nested(combination, combinations, left) {
        Attributes<MAX_NL80211_IFACE_COMB> attributes;
        if (!attributes.parse_nested(combination) || attributes[NL80211_IFACE_COMB_LIMITS] == nullptr)
            continue;
        const uint32_t all = take_u32(attributes[NL80211_IFACE_COMB_MAXNUM]);
        nla_for_each_nested(limit, attributes[NL80211_IFACE_COMB_LIMITS], limits_left) {
            Attributes<MAX_NL80211_IFACE_LIMIT> kind;
            if (!kind.parse_nested(limit) || kind[NL80211_IFACE_LIMIT_TYPES] == nullptr) continue;
            if (lists_access_point(kind[NL80211_IFACE_LIMIT_TYPES]))
                most = std::max(most, std::min(all, take_u32(kind[NL80211_IFACE_LIMIT_MAX])));
        }
    }
    return most;
}

void read_radio_message(nlmsghdr *message, std::vector<WirelessRadio> *radios) {
    MessageAttributes attributes;
    uint32_t index = 0;
    if (!attributes.parse_message(message) || !take(attributes[NL80211_ATTR_WIPHY], &index)) return;
    auto radio =
        std::find_if(radios->begin(), radios->end(), [&](const auto &known) { return known.index == index; });
    if (radio == radios->end()) {
        radio = radios->emplace(radios->end());
        radio->index = index;
    }
    if (attributes[NL80211_ATTR_WIPHY_NAME] != nullptr)
        radio->name = text_of(attributes[NL80211_ATTR_WIPHY_NAME]);
    uint32_t antennas = 0;
    if (take(attributes[NL80211_ATTR_WIPHY_ANTENNA_AVAIL_TX], &antennas)) radio->transmit_antennas = antennas;
    if (nlattr *types = attributes[NL80211_ATTR_SUPPORTED_IFTYPES])
        radio->access_point = lists_access_point(types);
    if (nlattr *combinations = attributes[NL80211_ATTR_INTERFACE_COMBINATIONS])
        radio->most_access_points = most_access_points(combinations);
    if (nlattr *bands = attributes[NL80211_ATTR_WIPHY_BANDS]) read_bands(bands, &*radio);
}

int highest_power(const WirelessRadio &radio, WirelessBand band) {
    int power = 1;
    for (const WirelessChannel &channel : radio.bands[band].channels)
        if (!channel.disabled) power = std::max(power, channel.max_power);
    return power;
}
