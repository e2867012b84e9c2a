// What is special among the configuration columns of the radios, 2.1.1.3 to 2.1.1.21. Two themes have files
// of their own: radio_channel (2.1.1.9) and radio_transmit (2.1.1.12 to 2.1.1.16).
#include "handler/radio.h"

#include <cstdlib>
#include <cstring>

#include "handler/check.h"
#include "platform/k480ext.h"

constexpr int BAND_OFF = 0, BAND_11NA = 5, BAND_11NG = 6, BAND_11AC = 7;

// The band is two items: whether the radio is on, and its mode.
static std::string band(const HandlerCall &call, const Row &row) {
    std::string text = read_row(call, row, "state");
    const bool off = text == "disable";
    if (!off) text = read_row(call, row, "mode");
    TRACE(" Get rf%d band:%s from ZEVCFG.\n", row[0], text.c_str());
    return off ? std::to_string(BAND_OFF) : shown(call.object, text);
}

snmp_reply *radio_band(const HandlerCall &call) {
    if (call.kind == KIND_GET) return get_rows(call, [&](const Row &row) { return band(call, row); });
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    const int code = atoi(call.value);
    if (!check_band_mode(row[0], code)) return set_refused(call);
    if (code == BAND_OFF) {
        queue_row(call, row, "state", "disable");
        queue_row(call, row, "channel", "auto");
    } else {
        queue_row(call, row, "state", "enable");
        queue_row(call, row, "mode", stored(call.object, call.value));
    }
    // What the new band cannot have falls back.
    const bool is_11n = code == BAND_11NA || code == BAND_11NG;
    if (!is_11n) queue_row(call, row, "puren", "disable");
    if (!is_11n && code != BAND_11AC) {
        queue_row(call, row, "ch_width", "20");
        queue_row(call, row, "rate", "auto");
    }
    store_cell(call, row, call.value);
    return set_accepted(call);
}

static bool may_have_width(const HandlerCall &call, const Row &row) {
    constexpr int WIDTH_80 = 4;
    if (atoi(call.value) != WIDTH_80) return true;
    unsigned capability = 0;
    get_rf_capable_mode(row[0], &capability);
    return capability & CAPABILITY_11AC;
}

snmp_reply *channel_width(const HandlerCall &call) {
    return ordinary(call, {.condition = may_have_width});
}

// A radio that carries a WDS link keeps a fixed channel.
static bool may_have_channel(const HandlerCall &call, const Row &row) {
    if (strcmp(call.value, "auto") != 0) return true;
    for (int link = 1; link <= WDS_LINKS; link++)
        if (read_item(format("rf%d_wds%d", row[0], link).c_str(), "state").text == "enable") return false;
    return true;
}

snmp_reply *configured_channel(const HandlerCall &call) {
    return ordinary(call, {.condition = may_have_channel});
}

// Band steering is one setting of the device: a SET writes both radios, whatever row it names.
static snmp_reply *set_both_radios(const HandlerCall &call, void (*before)(const std::string &text)) {
    for (int radio = 1; radio <= RADIOS; radio++) {
        TRACE("SET str=%s,index:%d\n", call.value, radio);
        if (!within_range(call.object, call.value)) return set_refused(call);
        const std::string text = stored(call.object, call.value);
        before(text);
        queue_row(call, {radio}, text);
        store_cell(call, {radio}, call.value);
    }
    return set_accepted(call);
}

snmp_reply *radio_band_steering(const HandlerCall &call) {
    if (call.kind == KIND_GET) return ordinary(call);
    return set_both_radios(call, [](const std::string &text) {
        pending_items =
            check_vap_band_steering(sic_zevcfg, text.c_str(), pending_items, -1, -1, nullptr, nullptr);
    });
}

snmp_reply *aggressive_band_steering(const HandlerCall &call) {
    if (call.kind == KIND_GET) return ordinary(call);
    return set_both_radios(call, [](const std::string &text) { TRACE(" buffer=%s\n", text.c_str()); });
}
