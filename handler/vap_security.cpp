// How stations authenticate to a VAP and how their traffic is enciphered: what is special among the objects
// 3.1.1.24 to 3.1.1.51. All items stand in the VAP's security group; keys and secrets are shown as they are
// stored.
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "handler/engine.h"
#include "handler/rules.h"
#include "platform/k480ext.h"

// "mode" of an open VAP, with or without static WEP.
static bool is_wep_mode(const std::string &mode) {
    return WEP_AUTHENTICATION_WORDS.of_stored(mode) != nullptr;
}

enum Authentication { OPEN, STATIC_WEP, DYNAMIC_WEP, WPA_PSK, WPA_ENTERPRISE, OTHER };

static Authentication authentication(const std::string &mode, const std::string &wep,
                                     const std::string &eap) {
    if (mode == "open" && wep == "disable") return OPEN;
    if (is_wep_mode(mode) && wep == "enable") return STATIC_WEP;
    if (mode == "8021x") return DYNAMIC_WEP;
    if (mode == "wpa") return eap == "psk" ? WPA_PSK : WPA_ENTERPRISE;
    return OTHER;
}

static snmp_reply *authentication_get(const HandlerCall &call) {
    return get_rows(call, [&](const Row &row) {
        const std::string mode = read_row(call, row).text;
        const Reading wep = read_item(group_name(call, row).c_str(), "wep.enabled");
        TRACE("vap%d wep %s from ZEVCFG ret=%d.\n", row[1], wep.text.c_str(), wep.result);
        return std::to_string(authentication(mode, wep.text, read_row(call, row, "wpa.eap")));
    });
}

snmp_reply *vap_authentication(const HandlerCall &call) {
    static constexpr struct {
        const char *mode, *wep, *eap;
    } ITEMS[] = {{"open", "disable", "psk"},
                 {nullptr, "enable", "psk"},
                 {"8021x", "disable", "psk"},
                 {"wpa", "disable", "psk"},
                 {"wpa", "disable", "eap"}};
    if (call.kind == KIND_GET) return authentication_get(call);
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    TRACE("SET str=%s\n", call.value);
    const int code = atoi(call.value);
    if (code == DYNAMIC_WEP && rf_is_offload(row[0] - 1) == 1) return set_refused(call);
    if (code != STATIC_WEP) {
        queue_row(call, row, ITEMS[code].mode);
    } else if (const std::string current = read_row(call, row, "mode"); is_wep_mode(current)) {
        queue_row(call, row, current);
    }
    queue_row(call, row, "wep.enabled", ITEMS[code].wep);
    queue_row(call, row, "wpa.eap", ITEMS[code].eap);
    store_cell(call, row, call.value);
    return set_accepted(call);
}

// Static WEP is a setting of the radio: a SET of it through any VAP writes all VAPs of the radio.
static snmp_reply *write_radio(const HandlerCall &call, int radio) {
    for (int vap = 1; vap <= VAPS; vap++) {
        TRACE("SET str=%s\n", call.value);
        queue_row(call, {radio, vap}, stored(call.object, call.value));
        store_cell(call, {radio, vap}, call.value);
    }
    return set_accepted(call);
}

snmp_reply *wep_setting(const HandlerCall &call) {
    if (call.kind == KIND_GET) return ordinary(call);
    Row row{};
    return accept_row(call, &row) ? write_radio(call, row[0]) : call.reply;
}

// Characters of a WEP key of a VAP, 0 when its stored key length is no key length.
static size_t wep_key_characters(const HandlerCall &call, const Row &row) {
    static constexpr struct {
        const char *bits;
        size_t characters;
    } LENGTHS[] = {{"64", 5}, {"128", 13}, {"152", 16}};
    const std::string bits = read_row(call, row, "wep.keylen");
    const bool is_ascii = read_row(call, row, "wep.method") == "ascii";
    for (const auto &length : LENGTHS)
        if (bits == length.bits) return is_ascii ? length.characters : 2 * length.characters;
    return 0;
}

snmp_reply *wep_key(const HandlerCall &call) {
    if (call.kind == KIND_GET) return ordinary(call);
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    const size_t characters = wep_key_characters(call, row);
    if (characters == 0 || strlen(call.value) != characters) return set_refused(call);
    return write_radio(call, row[0]);
}

snmp_reply *vap_cipher_suite(const HandlerCall &call) {
    static constexpr struct {
        const char *version, *cipher;
    } SUITES[] = {
        {"1", "rc4-tkip"}, {"1", "aes-ccmp"}, {"2", "rc4-tkip"}, {"2", "aes-ccmp"}, {"1:2", "mixed"}};
    if (call.kind == KIND_GET)
        return get_rows(call, [&](const Row &row) {
            const std::string version = read_row(call, row, "wpa.version");
            const std::string cipher = read_row(call, row, "wpa.enc");
            int code = 0;
            for (int i = 0; i < std::ssize(SUITES); i++)
                if (version == SUITES[i].version && cipher == SUITES[i].cipher) code = i + 1;
            return std::to_string(code);
        });
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    const auto &suite = SUITES[atoi(call.value) - 1];
    queue_row(call, row, "wpa.version", suite.version);
    queue_row(call, row, "wpa.enc", suite.cipher);
    store_cell(call, row, call.value);
    return set_accepted(call);
}
