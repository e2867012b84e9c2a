// The configuration columns of the radios: objects 2.1.1.1 to 2.1.1.27, 2.1.1.44 and 2.1.1.53. Three themes
// have files of their own: radio_channel (2.1.1.9), radio_transmit (2.1.1.12 to 2.1.1.16) and radio_wme.
#include "handler/radio.h"

#include <cstdlib>
#include <cstring>

#include "handler/check.h"
#include "platform/k480ext.h"

static bool has_11ac(int radio) {
    unsigned capability = 0;
    get_rf_capable_mode(radio, &capability);
    return capability & CAPABILITY_11AC;
}

OBJECT(APRFIndex) {
    return radio_read_only(call, CACHED, [](int radio) { return std::to_string(radio); });
}

OBJECT(APRFMacAddress) {
    return radio_read_only(call, CACHED, [](int radio) {
        const Reading mac = read_system_item(format("rf%d_mac", radio).c_str());
        TRACE(" Get rf mac:%s from ZEVCFG.\n", mac.text.c_str());
        return mac.text;
    });
}

// The band is two items: whether the radio is on, and its mode.
static constexpr Code MODE_LIST[] = {{1, "11a"},  {2, "11b"},  {3, "11g"}, {4, "auto"},
                                     {5, "11na"}, {6, "11ng"}, {7, "11ac"}};
static constexpr Codes MODES{MODE_LIST, "0"};
constexpr int BAND_OFF = 0, BAND_11NA = 5, BAND_11NG = 6, BAND_11AC = 7;

static std::string band(int radio) {
    const std::string group = format("rf%d", radio);
    std::string text = read_item(group.c_str(), "state").text;
    const bool off = text == "disable";
    if (!off) text = read_item(group.c_str(), "mode").text;
    TRACE(" Get rf%d band:%s from ZEVCFG.\n", radio, text.c_str());
    return off ? std::to_string(BAND_OFF) : MODES.shown(text);
}

OBJECT(APRFBand) {
    if (call.kind == KIND_GET) return radio_get(call, CACHED, band);
    Row row{};
    if (!accept_row(call, RADIO, {}, &row)) return call.reply;
    const int code = atoi(call.value);
    if (!check_band_mode(row[0], code)) return set_refused(call);
    const unsigned group = radio_group(row).id;
    if (code == BAND_OFF) {
        queue_item(group, "state", "disable");
        queue_item(group, "channel", "auto");
    } else {
        queue_item(group, "state", "enable");
        queue_item(group, "mode", MODES.stored(code));
    }
    // What the new band cannot have falls back.
    const bool is_11n = code == BAND_11NA || code == BAND_11NG;
    if (!is_11n) queue_item(group, "puren", "disable");
    if (!is_11n && code != BAND_11AC) {
        queue_item(group, "ch_width", "20");
        queue_item(group, "rate", "auto");
    }
    publish_written(call, row, call.value);
    return set_accepted(call);
}

OBJECT(APRFPure11NEnabled) {
    return radio_column(
        call, {.key = "puren", .codes = &SWITCH_CODES, .trace = " Get rf%r puren:%s from ZEVCFG.\n"});
}
OBJECT(APRFShortPreambleEnabled) {
    return radio_column(
        call,
        {.key = "shpreamble", .codes = &SWITCH_CODES, .trace = " Get rf%r short preamble:%s from ZEVCFG.\n"});
}
OBJECT(APRFShortGuardIntervalEnabled) {
    return radio_column(call, {.key = "shortgi",
                               .codes = &SWITCH_CODES,
                               .trace = " Get rf%r short guard interval:%s from ZEVCFG.\n"});
}

static constexpr Code WIDTH_LIST[] = {{1, "20"}, {2, "40"}, {3, "40static"}, {4, "80"}};
static constexpr Codes WIDTHS{WIDTH_LIST, "0"};
constexpr int WIDTH_80 = 4;

OBJECT(APRFChannelWidth) {
    return radio_column(
        call, {.key = "ch_width",
               .condition = [](const Row &row,
                               const char *value) { return atoi(value) != WIDTH_80 || has_11ac(row[0]); },
               .codes = &WIDTHS,
               .trace = " Get rf%r channel width: %sMHZ from ZEVCFG.\n"});
}

static constexpr Code EXTENSION_LIST[] = {{1, "l"}, {2, "u"}};
static constexpr Codes EXTENSIONS{EXTENSION_LIST, "2"};

OBJECT(APRFChannelWidthExtension) {
    return radio_column(call, {.key = "chwidth_ext",
                               .codes = &EXTENSIONS,
                               .trace = " Get rf%r channel width extension: %s from ZEVCFG.\n"});
}

// A radio that carries a WDS link keeps a fixed channel.
static bool may_have_channel(const Row &row, const char *value) {
    if (strcmp(value, "auto") != 0) return true;
    for (int link = 1; link <= WDS_LINKS; link++)
        if (read_item(format("rf%d_wds%d", row[0], link).c_str(), "state").text == "enable") return false;
    return true;
}

OBJECT(APRFRadioChannelConfig) {
    return radio_column(call, {.key = "channel",
                               .condition = may_have_channel,
                               .trace = "Get rf channel %s from ZEVCFG ret=%e.\n"});
}

OBJECT(APRFRadioChannelCurrent) {
    return radio_read_only(call, LIVE, [](int radio) {
        const Reading channel = read_system_item(format("rf%d_ch", radio).c_str());
        TRACE(" Get current ch:%s from ZEVCFG.\n", channel.text.c_str());
        return channel.text;
    });
}

static constexpr Code FAIRNESS_LIST[] = {{0, "disable"}, {1, "enable"}, {2, "prefer"}};
static constexpr Codes FAIRNESS{FAIRNESS_LIST, "0"};

OBJECT(APRFAirtimeFairnessStatus) {
    return radio_column(call, {.key = "airtime_fairness",
                               .codes = &FAIRNESS,
                               .trace = " Get rf%r airtime_fairness:%s from ZEVCFG.\n"});
}

// The store's unit is a thousand times finer.
OBJECT(APRFPacketDelayThreshold) {
    return radio_column(
        call, {.key = "packet_delay_threshold",
               .show = [](const std::string &stored) { return std::to_string(atoi(stored.c_str()) / 1000); },
               .store = [](const char *value) { return std::to_string(atoi(value) * 1000); },
               .trace = " Get rf%r packet_delay_threshold:%s from ZEVCFG.\n"});
}

OBJECT(APRFStaIdleTimeout) {
    static constexpr Table UNTRACED = radio_table(radio_group, "");
    return radio_column(call, UNTRACED,
                        {.key = "idletimeout", .trace = " Get station idle timeout:%s from ZEVCFG.\n"});
}

// Band steering is one setting of the device: a SET of either row writes both radios.
static snmp_reply *set_both_radios(const HandlerCall &call, const char *key,
                                   void (*before)(const std::string &text)) {
    Row row{};
    if (!parse_row(call, RADIO, &row)) return set_refused(call);
    for (int radio = 1; radio <= RADIOS; radio++) {
        TRACE("SET str=%s,index:%d\n", call.value, radio);
        if (!within_bounds(call.object, call.value)) return set_refused(call);
        const std::string text = SWITCH_CODES.stored(atoi(call.value));
        before(text);
        queue_item(gid_rf[radio - 1], key, text);
        publish_written(call, {radio}, call.value);
    }
    return set_accepted(call);
}

OBJECT(APRFBandSteeringEnabled) {
    if (call.kind == KIND_SET)
        return set_both_radios(call, "band_steering", [](const std::string &text) {
            pending_items =
                check_vap_band_steering(sic_zevcfg, text.c_str(), pending_items, -1, -1, nullptr, nullptr);
        });
    return radio_column(
        call,
        {.key = "band_steering", .codes = &SWITCH_CODES, .trace = " Get band_steering:%s from ZEVCFG.\n"});
}

OBJECT(APRFAggrBandSteeringEnabled) {
    if (call.kind == KIND_SET)
        return set_both_radios(call, "aggr_band_steering",
                               [](const std::string &text) { TRACE(" buffer=%s\n", text.c_str()); });
    return radio_column(call, {.key = "aggr_band_steering",
                               .codes = &SWITCH_CODES,
                               .trace = " Get aggr_band_steering:%s from ZEVCFG.\n"});
}

OBJECT(APRFRogueAPRSSIThreshold) {
    return radio_column(call, {.key = "rssi_thre", .trace = " Get rf%r rssi_thre:%s from ZEVCFG.\n"});
}

// Interference detection: offload radios have one threshold of their own (the last object of the table).
OBJECT(APRFAdjacentChannelInterferenceDetectionThreshold) {
    return radio_column(call, {.key = "interfere_threshold",
                               .trace = " Get rf%r interference_threshold:%s from ZEVCFG.\n",
                               .radios = PLAIN_RADIOS});
}
OBJECT(APRFAdjacentChannelInterferenceDetectionLatency) {
    return radio_column(call, {.key = "interfere_latency",
                               .trace = " Get rf%r interference_latency:%s from ZEVCFG.\n",
                               .radios = PLAIN_RADIOS});
}
OBJECT(APRFCochannelInterferenceDetectionThreshold) {
    return radio_column(call, {.key = "co_interfere_threshold",
                               .trace = " Get rf%r co_interference_threshold:%s from ZEVCFG.\n",
                               .radios = PLAIN_RADIOS});
}
OBJECT(APRFCochannelInvalidPacketRate) {
    return radio_column(call, {.key = "co_rx_drop_rate",
                               .trace = " Get rf%r co_rx_drop_rate:%s from ZEVCFG.\n",
                               .radios = PLAIN_RADIOS});
}
OBJECT(APRFCochannelInterferenceDetectionLatency) {
    return radio_column(call, {.key = "co_interfere_latency",
                               .trace = " Get rf%r co_interference_latency:%s from ZEVCFG.\n",
                               .radios = PLAIN_RADIOS});
}

// Stored as written, digits or not, unless it reads as a negative number.
static bool short_and_not_negative(char *value) {
    return strlen(value) <= 6 && atoi(value) >= 0;
}

OBJECT(APRFTransmissionRateThreshold) {
    return radio_column(call, {.key = "tx_rate_threshold",
                               .check = short_and_not_negative,
                               .trace = " Get rf%r transmission rate:%s from ZEVCFG.\n"});
}

OBJECT(APRFWLANChannelInterferenceDetectionThreshold) {
    return radio_column(call, {.key = "wlan_interfere_threshold",
                               .trace = " Get rf%r wlan_interfere_threshold:%s from ZEVCFG.\n",
                               .radios = OFFLOAD_RADIOS});
}
