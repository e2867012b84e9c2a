// Radios: hostapd's lines that all VAPs of a radio share, and what iw sets.
#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "linux/answers.h"

static constexpr char LINE_OF_THE_MAKER[] = "# Made of the running configuration: changes here are lost.\n";

struct Band {
    const char *mode, *hw_mode;
    bool is_5ghz, has_ht, has_vht;
};
static constexpr Band BANDS[] = {{"11a", "a", true, false, false},  {"11b", "b", false, false, false},
                                 {"11g", "g", false, false, false}, {"auto", "g", false, true, false},
                                 {"11na", "a", true, true, false},  {"11ng", "g", false, true, false},
                                 {"11ac", "a", true, true, true}};

static const Band *band_of(const Making &making) {
    const std::string mode = making.settings.get(filled("rf%r", making.place), "mode");
    const auto *band = std::find_if(std::begin(BANDS), std::end(BANDS),
                                    [&](const Band &entry) { return mode == entry.mode; });
    return band == std::end(BANDS) ? nullptr : band;
}

static const Card &card_of(const Making &making) {
    return making.machine.cards[making.place.r - 1];
}

// HT and VHT capabilities that hostapd has a word for, by the bits that the card must have.
struct Capability {
    const char *word;
    unsigned bit;
};
static constexpr Capability HT_40 = {"", 1U << 1}, HT_SHORT_GI_20 = {"[SHORT-GI-20]", 1U << 5},
                            HT_SHORT_GI_40 = {"[SHORT-GI-40]", 1U << 6}, HT_TX_STBC = {"[TX-STBC]", 1U << 7};
static constexpr Capability HT_ALWAYS[] = {
    {"[LDPC]", 1U << 0}, {"[RX-STBC1]", 1U << 8}, {"[DSSS_CCK-40]", 1U << 12}};
static constexpr Capability VHT_SHORT_GI_80 = {"[SHORT-GI-80]", 1U << 5},
                            VHT_TX_STBC = {"[TX-STBC-2BY1]", 1U << 7};
static constexpr Capability VHT_ALWAYS[] = {{"[RXLDPC]", 1U << 4}};

static std::string word_if(unsigned card, const Capability &capability, bool wanted = true) {
    return wanted && (card & capability.bit) ? capability.word : "";
}

static bool a_vap_has_stbc(const Making &making) {
    for (const Place &vap : vaps_on_air(making.settings, making.machine))
        if (vap.r == making.place.r && making.settings.value_of("VAPTxSTBC", vap) == "enable") return true;
    return false;
}

// Of a pair of 5 GHz channels the lower has the upper beside it: 36 and 40, 44 and 48 … 149 and 153.
static bool is_lower_of_pair(int channel) {
    const int first = channel >= 149 ? 149 : 36;
    return (channel - first) % 8 == 0;
}

// The centre of the 80 MHz that hold a channel: 42 for 36 to 48.
static int centre_of_80mhz(int channel) {
    const int first = channel >= 149 ? 149 : 36;
    return first + (channel - first) / 16 * 16 + 6;
}

void radio_mode(Making &making) {
    const Band *band = band_of(making);
    if (!band) return making.error("APRFBand", "there is no such mode");
    const Card &card = card_of(making);
    const std::string channel = making.get("APRFRadioChannelConfig"), width = making.get("APRFChannelWidth");
    const int number = making.number("APRFRadioChannelConfig");
    if (channel != "auto" && number < 1) return making.error("APRFRadioChannelConfig", "that is no channel");
    const std::string country = making.settings.get(filled("rf%r", making.place), "country");
    if (country.size() == 2 && is_clean(country)) {
        making.radio_line("country_code=" + country);
        making.radio_line("ieee80211d=1");
        if (band->is_5ghz) making.radio_line("ieee80211h=1");
    }
    making.radio_line(std::string("hw_mode=") + band->hw_mode);
    making.radio_line("channel=" + (channel == "auto" ? "acs_survey" : std::to_string(number)));
    if (!band->has_ht) {
        if (width != "20") making.not_done("APRFChannelWidth", "without 802.11n a channel has 20 MHz");
        return;
    }
    making.radio_line("ieee80211n=1");
    const bool wide = width != "20", short_gi = making.is_on("APRFShortGuardIntervalEnabled");
    bool upper = making.get("APRFChannelWidthExtension") != "l";
    if (band->is_5ghz && channel != "auto") {
        if (wide && upper != is_lower_of_pair(number))
            making.not_done("APRFChannelWidthExtension",
                            "on 5 GHz the channel says which side is the other half");
        upper = is_lower_of_pair(number);
    }
    std::string ht;
    if (wide && (card.ht & HT_40.bit)) ht += upper ? "[HT40+]" : "[HT40-]";
    if (wide && !(card.ht & HT_40.bit)) making.not_done("APRFChannelWidth", "the card has 20 MHz only");
    if (width == "40static" && !band->is_5ghz)
        making.not_done("APRFChannelWidth", "hostapd yields to neighbours on 2.4 GHz, always");
    const bool stbc = a_vap_has_stbc(making);
    ht += word_if(card.ht, HT_SHORT_GI_20, short_gi) + word_if(card.ht, HT_SHORT_GI_40, short_gi && wide);
    ht += word_if(card.ht, HT_TX_STBC, stbc);
    for (const Capability &capability : HT_ALWAYS) ht += word_if(card.ht, capability);
    if (!ht.empty()) making.radio_line("ht_capab=" + ht);
    if (making.is_on("APRFPure11NEnabled")) making.radio_line("require_ht=1");
    if (!band->has_vht) {
        if (width == "80") making.not_done("APRFChannelWidth", "80 MHz need 802.11ac: 40 MHz");
        return;
    }
    making.radio_line("ieee80211ac=1");
    std::string vht = word_if(card.vht, VHT_SHORT_GI_80, short_gi) + word_if(card.vht, VHT_TX_STBC, stbc);
    for (const Capability &capability : VHT_ALWAYS) vht += word_if(card.vht, capability);
    if (!vht.empty()) making.radio_line("vht_capab=" + vht);
    making.radio_line(width == "80" ? "vht_oper_chwidth=1" : "vht_oper_chwidth=0");
    if (width == "80" && channel != "auto")
        making.radio_line("vht_oper_centr_freq_seg0_idx=" + std::to_string(centre_of_80mhz(number)));
}

void beacon_interval(Making &making) {
    const std::string radio = filled("rf%r", making.place), first_vap = radio + "_vap1";
    making.radio_line("beacon_int=" +
                      std::to_string(making.settings.number(
                          radio, "beacon", making.settings.number(first_vap, "beacon", 100))));
}

// hostapd has the time that one may send for in units of 32 us, and no waiting of no slots.
void radio_multimedia(Making &making) {
    constexpr int UNIT_US = 32;
    static constexpr const char *CATEGORIES[] = {"be", "bk", "vi", "vo"};
    for (int a = 1; a <= 4; a++) {
        const std::string group = filled("rf%r_wme", making.place) + std::to_string(a);
        const std::string option = std::string("wmm_ac_") + CATEGORIES[a - 1] + "_";
        const Settings &settings = making.settings;
        const int least = settings.number(group, "cwmin"), most = settings.number(group, "cwmax");
        if (least > most) making.error("APRFBand", "a WME contention window has a minimum above its maximum");
        making.radio_line(option + "aifs=" + std::to_string(std::max(1, settings.number(group, "aifs"))));
        making.radio_line(option + "cwmin=" + std::to_string(least));
        making.radio_line(option + "cwmax=" + std::to_string(most));
        making.radio_line(option +
                          "txop_limit=" + std::to_string(settings.number(group, "txoplimit") / UNIT_US));
        making.radio_line(option + "acm=0");
    }
}

// Stations that the 5 GHz radio has seen are not answered on 2.4 GHz.
void band_steering(Making &making) {
    if (!making.is_on("APRFBandSteeringEnabled")) return;
    making.radio_line("track_sta_max_num=200");
    making.radio_line("track_sta_max_age=180");
}

// A level is a dB below full power; "txpwr" is the older scale, on which 4 steps are 3 levels below 17.
void radio_power(Making &making) {
    const std::string group = filled("rf%r", making.place);
    int older = making.settings.number(group, "txpwr", 17);
    if (older < 1 || older > 16) older = 17;
    const int level = making.settings.number(group, "txpwr_customized_lv", (17 - older) / 4 * 3);
    const std::string phy = "iw phy " + making.radio->phy + " set txpower ";
    const int most = card_of(making).power_dbm;
    making.radio->commands.push_back(
        level == 0 ? phy + "auto" : phy + "limit " + std::to_string(std::max(0, most - level) * 100));
}

void radio_distance(Making &making) {
    constexpr int LEAST_US = 64, CLASS_US = 3, LAST_CLASS = 31;
    const int time = std::max(0, making.number("APRFAckTimeout", LEAST_US) - LEAST_US);
    making.radio->commands.push_back("iw phy " + making.radio->phy + " set coverage " +
                                     std::to_string(std::min(LAST_CLASS, (time + CLASS_US - 1) / CLASS_US)));
}

// What iw takes as the rates up to the one stored: legacy rates, MCS indices, or a VHT-MCS map in decimal.
static std::string rates_of(const std::string &rate, bool is_5ghz) {
    static constexpr const char *LEGACY[] = {"1",  "2",  "5.5", "11", "6",  "9",
                                             "12", "18", "24",  "36", "48", "54"};
    const std::string band = is_5ghz ? "5" : "2.4";
    if (rate.starts_with("mcs")) {
        std::string indices;
        for (int i = 0; i <= atoi(rate.c_str() + 3); i++) indices += " " + std::to_string(i);
        return "ht-mcs-" + band + indices;
    }
    if (rate.ends_with("M")) {
        std::string rates;
        const double most = atof(rate.c_str());
        for (const char *legacy : LEGACY)
            if (atof(legacy) <= most &&
                (!is_5ghz || atof(legacy) == 6 || atof(legacy) == 9 || atof(legacy) > 11))
                rates += std::string(" ") + legacy;
        return rates.empty() ? "" : "legacy-" + band + rates;
    }
    const int map = atoi(rate.c_str());
    std::string streams;
    static constexpr int HIGHEST[] = {7, 8, 9};
    for (int stream = 0; map > 0 && stream < 4; stream++)
        if (const int code = map >> (2 * stream) & 3; code < 3)
            streams += " " + std::to_string(stream + 1) + ":0-" + std::to_string(HIGHEST[code]);
    return streams.empty() ? "" : "vht-mcs-" + band + streams;
}

// Of interfaces: the VAPs of a radio have one transmitter.
void radio_rates(Making &making) {
    const Band *band = band_of(making);
    const std::string rate = making.get("APRFMaxTransmitRate");
    if (rate.empty() || rate == "auto" || !band) return;
    const std::string rates = rates_of(rate, band->is_5ghz);
    if (rates.empty()) return making.not_done("APRFMaxTransmitRate", "there is no such rate on the band");
    for (const Place &vap : vaps_on_air(making.settings, making.machine))
        if (vap.r == making.place.r)
            making.radio->commands.push_back("iw dev " + vap_interface(vap.r, vap.v) + " set bitrates " +
                                             rates);
}

// The least number that one of the VAPs has, where hostapd has one for all of them. `none` asks for nothing.
static void keep_least(Making &making, const char *object, const char *option, int none) {
    const int number = making.number(object, none);
    const auto [entry, is_first] = making.least.emplace(option, number);
    if (is_first || entry->second == number) return;
    making.not_done(object, "hostapd has one for all VAPs of a radio: the least holds");
    entry->second = std::min(entry->second, number);
}

void of_all_vaps(Making &making) {
    keep_least(making, "VAPRTSThreshold", "rts_threshold", 2346);
    keep_least(making, "VAPFragmentThreshold", "fragm_threshold", 2346);
    keep_least(making, "VAPManagementFrameRate", "beacon_rate", 0);
    keep_least(making, "VAPReceivingRSSIThreshold", "rssi_reject_assoc_rssi", -95);
}

void write_least(Making &making) {
    constexpr int LONGEST_FRAME = 2346, WEAKEST_DBM = -95;
    const Band *band = band_of(making);
    for (const auto &[option, number] : making.least) {
        if (option == "beacon_rate") {  // stored in units of 500 kbit/s; hostapd has 100 kbit/s
            const int lowest = band && band->is_5ghz ? 12 : 2;
            if (number > lowest) making.radio_line(option + "=" + std::to_string(number * 5));
        } else if (option == "rssi_reject_assoc_rssi") {
            if (number <= WEAKEST_DBM || number >= 0) continue;
            making.radio_line(option + "=" + std::to_string(number));
            making.radio_line("rssi_ignore_probe_request=" + std::to_string(number));
        } else if (number < LONGEST_FRAME) {
            making.radio_line(option + "=" + std::to_string(number));
        }
    }
}

void radio_head(Making &making) {
    making.radio->text = LINE_OF_THE_MAKER;
    making.radio_line("interface=" + making.radio->interface);
    making.radio_line("driver=nl80211");
    making.radio_line(std::string("ctrl_interface=") + HOSTAPD_SOCKETS);
    making.radio_line("ssid=" + making.radio->interface);
    making.radio_line("start_disabled=1");
    making.radio_line("send_probe_response=0");
}
