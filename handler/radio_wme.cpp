// The WME parameters of the radios' four access categories: objects 2.1.1.28 to 2.1.1.43.
#include "handler/radio.h"

enum Category { BEST_EFFORT = 1, BACKGROUND, VIDEO, VOICE, CATEGORIES = VOICE };

template <int CATEGORY>
static Group wme_group(const Row &row) {
    return {format("rf%d_wme%d", row[0], CATEGORY), gid_wme[(row[0] - 1) * CATEGORIES + CATEGORY - 1]};
}

template <int CATEGORY>
static snmp_reply *wme(const HandlerCall &call, const char *key, const char *title) {
    static constexpr Table TABLE = radio_table(wme_group<CATEGORY>, RADIO_SET_TRACE);
    const std::string trace = format(" Get rf%%r_wme%d %s:%%s from ZEVCFG.\n", CATEGORY, title);
    return radio_column(call, TABLE, {.key = key, .trace = trace.c_str()});
}

OBJECT(APRFWMEBestEffortCWMin) {
    return wme<BEST_EFFORT>(call, "cwmin", "cwmin");
}
OBJECT(APRFWMEBestEffortCWMax) {
    return wme<BEST_EFFORT>(call, "cwmax", "cwmax");
}
OBJECT(APRFWMEBestEffortAIFS) {
    return wme<BEST_EFFORT>(call, "aifs", "AIFS");
}
OBJECT(APRFWMEBestEffortTXOPLimit) {
    return wme<BEST_EFFORT>(call, "txoplimit", "TXOP Limit");
}

OBJECT(APRFWMEBackgroundCWMin) {
    return wme<BACKGROUND>(call, "cwmin", "cwmin");
}
OBJECT(APRFWMEBackgroundCWMax) {
    return wme<BACKGROUND>(call, "cwmax", "cwmax");
}
OBJECT(APRFWMEBackgroundAIFS) {
    return wme<BACKGROUND>(call, "aifs", "AIFS");
}
OBJECT(APRFWMEBackgroundTXOPLimit) {
    return wme<BACKGROUND>(call, "txoplimit", "TXOP Limit");
}

OBJECT(APRFWMEVideoCWMin) {
    return wme<VIDEO>(call, "cwmin", "cwmin");
}
OBJECT(APRFWMEVideoCWMax) {
    return wme<VIDEO>(call, "cwmax", "cwmax");
}
OBJECT(APRFWMEVideoAIFS) {
    return wme<VIDEO>(call, "aifs", "AIFS");
}
OBJECT(APRFWMEVideoTXOPLimit) {
    return wme<VIDEO>(call, "txoplimit", "TXOP Limit");
}

OBJECT(APRFWMEVoiceCWMin) {
    return wme<VOICE>(call, "cwmin", "cwmin");
}
OBJECT(APRFWMEVoiceCWMax) {
    return wme<VOICE>(call, "cwmax", "cwmax");
}
OBJECT(APRFWMEVoiceAIFS) {
    return wme<VOICE>(call, "aifs", "AIFS");
}
OBJECT(APRFWMEVoiceTXOPLimit) {
    return wme<VOICE>(call, "txoplimit", "TXOP Limit");
}
