// How stations authenticate to a VAP and how their traffic is enciphered: objects 3.1.1.24 to 3.1.1.51. All
// items stand in the VAP's security group; keys and secrets are shown as they are stored.
#include <cstring>

#include "handler/check.h"
#include "handler/vap.h"
#include "platform/k480ext.h"

static Reading read_security(const Row &row, const char *key) {
    return read_item(vap_security_group(row).name.c_str(), key);
}

// Static WEP is a setting of the radio: a SET of it through any VAP writes all VAPs of the radio.
static snmp_reply *write_radio(const HandlerCall &call, int radio, const Field &field) {
    for (int vap = 1; vap <= VAPS; vap++) {
        TRACE("SET str=%s\n", call.value);
        const Row row{radio, vap};
        queue_item(vap_security_group(row).id, field.key, stored(field, call.value));
        publish_written(call, row, call.value);
    }
    return set_accepted(call);
}

static snmp_reply *radio_wide(const HandlerCall &call, const Field &field) {
    if (call.kind == KIND_GET) return column_get(call, VAP_SECURITY, field);
    Row row{};
    if (!accept_row(call, VAP_SECURITY, field, &row)) return call.reply;
    return write_radio(call, row[0], field);
}

// The objects that check the instance before the value.
static constexpr Table ROW_FIRST = [] {
    Table table = VAP_SECURITY;
    table.order = Table::ROW_TRACE_VALUE;
    return table;
}();

static constexpr const char *OPEN = "open";
static constexpr const char *SHARED = "shared";
static constexpr const char *AUTO = "auto";

// "mode" of an open VAP, with or without static WEP.
static bool is_wep_mode(const std::string &mode) {
    return mode == OPEN || mode == SHARED || mode == AUTO;
}

static int authentication(const std::string &mode, const std::string &wep, const std::string &eap) {
    if (mode == OPEN && wep == "disable") return 0;
    if (is_wep_mode(mode) && wep == "enable") return 1;
    if (mode == "8021x") return 2;
    if (mode == "wpa") return eap == "psk" ? 3 : 4;
    return 5;
}

static snmp_reply *authentication_get(const HandlerCall &call) {
    stamp(call, CACHED);
    for_each_row(VAP_SECURITY, [&](const Row &row) {
        const Field mode{.key = "mode", .trace = "vap%v mode %s from ZEVCFG ret=%e.\n"};
        const Field wep{.key = "wep.enabled", .trace = "vap%v wep %s from ZEVCFG ret=%e.\n"};
        const std::string stored_mode = read_field(call, VAP_SECURITY, mode, row).text;
        const std::string stored_wep = read_field(call, VAP_SECURITY, wep, row).text;
        publish(call, row,
                std::to_string(authentication(stored_mode, stored_wep, read_security(row, "wpa.eap").text)));
    });
    return call.reply;
}

OBJECT(VAPAuthenMode) {
    static constexpr int STATIC_WEP = 1, DYNAMIC_WEP = 2;
    static constexpr struct {
        const char *mode, *wep, *eap;
    } ITEMS[] = {{OPEN, "disable", "psk"},
                 {nullptr, "enable", "psk"},
                 {"8021x", "disable", "psk"},
                 {"wpa", "disable", "psk"},
                 {"wpa", "disable", "eap"}};
    if (call.kind == KIND_GET) return authentication_get(call);
    Row row{};
    if (!accept_row(call, VAP_SECURITY, {.key = "mode"}, &row)) return call.reply;
    TRACE("SET str=%s\n", call.value);
    const int code = atoi(call.value);
    if (code == DYNAMIC_WEP && rf_is_offload(row[0] - 1) == 1) return set_refused(call);
    const unsigned group = vap_security_group(row).id;
    if (code != STATIC_WEP) {
        queue_item(group, "mode", ITEMS[code].mode);
    } else if (const Reading current = read_security(row, "mode"); is_wep_mode(current.text)) {
        queue_item(group, "mode", current.text);
    }
    queue_item(group, "wep.enabled", ITEMS[code].wep);
    queue_item(group, "wpa.eap", ITEMS[code].eap);
    publish_written(call, row, call.value);
    return set_accepted(call);
}

static constexpr Code WEP_AUTHENTICATION_LIST[] = {{1, OPEN}, {2, SHARED}, {3, AUTO}};
static constexpr Codes WEP_AUTHENTICATIONS{WEP_AUTHENTICATION_LIST, "1"};
static constexpr Code WEP_LENGTH_LIST[] = {{1, "64"}, {2, "128"}, {3, "152"}};
static constexpr Codes WEP_LENGTHS{WEP_LENGTH_LIST, "4"};
static constexpr Code WEP_FORMAT_LIST[] = {{1, "ascii"}, {2, "hex"}};
static constexpr Codes WEP_FORMATS{WEP_FORMAT_LIST, "2"};

OBJECT(VAPWEPCipher80211Auth) {
    return column(call, VAP_SECURITY, {.key = "mode", .codes = &WEP_AUTHENTICATIONS});
}
OBJECT(VAPWEPCipherSelectedKeyIndex) {
    return column(
        call, VAP_SECURITY,
        {.key = "wep.txidx", .show = as_number, .trace = "rf%rvap%v txidx %s from ZEVCFG ret=%e.\n"});
}
OBJECT(VAPWEPCipherKeyLength) {
    return radio_wide(call, {.key = "wep.keylen", .codes = &WEP_LENGTHS});
}
OBJECT(VAPWEPCipherKeyCharType) {
    return radio_wide(call, {.key = "wep.method", .codes = &WEP_FORMATS});
}

// Characters of a WEP key of a VAP, 0 when its stored key length is no key length.
static size_t wep_key_characters(const Row &row) {
    static constexpr struct {
        const char *bits;
        size_t characters;
    } LENGTHS[] = {{"64", 5}, {"128", 13}, {"152", 16}};
    const std::string bits = read_security(row, "wep.keylen").text;
    const bool is_ascii = read_security(row, "wep.method").text == "ascii";
    for (const auto &length : LENGTHS)
        if (bits == length.bits) return is_ascii ? length.characters : 2 * length.characters;
    return 0;
}

static snmp_reply *wep_key(const HandlerCall &call, const char *key) {
    const Field field{.key = key};
    if (call.kind == KIND_GET) return column_get(call, VAP_SECURITY, field);
    Row row{};
    if (!accept_row(call, ROW_FIRST, field, &row)) return call.reply;
    const size_t characters = wep_key_characters(row);
    if (characters == 0 || strlen(call.value) != characters) return set_refused(call);
    return write_radio(call, row[0], field);
}

OBJECT(VAPWEPCipherKeyValue1) {
    return wep_key(call, "wep.key0");
}
OBJECT(VAPWEPCipherKeyValue2) {
    return wep_key(call, "wep.key1");
}
OBJECT(VAPWEPCipherKeyValue3) {
    return wep_key(call, "wep.key2");
}
OBJECT(VAPWEPCipherKeyValue4) {
    return wep_key(call, "wep.key3");
}

OBJECT(VAPPSKCipherSuite) {
    static constexpr struct {
        const char *version, *cipher;
    } SUITES[] = {
        {"1", "rc4-tkip"}, {"1", "aes-ccmp"}, {"2", "rc4-tkip"}, {"2", "aes-ccmp"}, {"1:2", "mixed"}};
    if (call.kind == KIND_GET) {
        stamp(call, CACHED);
        for_each_row(VAP_SECURITY, [&](const Row &row) {
            const std::string version = read_security(row, "wpa.version").text;
            const std::string cipher = read_security(row, "wpa.enc").text;
            int code = 0;
            for (int i = 0; i < std::ssize(SUITES); i++)
                if (version == SUITES[i].version && cipher == SUITES[i].cipher) code = i + 1;
            publish(call, row, std::to_string(code));
        });
        return call.reply;
    }
    Row row{};
    if (!accept_row(call, VAP_SECURITY, {.key = "wpa.version"}, &row)) return call.reply;
    const auto &suite = SUITES[atoi(call.value) - 1];
    queue_item(vap_security_group(row).id, "wpa.version", suite.version);
    queue_item(vap_security_group(row).id, "wpa.enc", suite.cipher);
    publish_written(call, row, call.value);
    return set_accepted(call);
}

static constexpr Code PSK_FORMAT_LIST[] = {{0, "psk"}, {1, "passphrase"}};
static constexpr Codes PSK_FORMATS{PSK_FORMAT_LIST, "0"};
static constexpr Code DYNAMIC_WEP_LENGTH_LIST[] = {{1, "64"}, {2, "128"}};
static constexpr Codes DYNAMIC_WEP_LENGTHS{DYNAMIC_WEP_LENGTH_LIST, "2"};

OBJECT(VAPPSKCipherKeyCharType) {
    return column(
        call, VAP_SECURITY,
        {.key = "wpa.type", .codes = &PSK_FORMATS, .trace = "rf%rvap%v wpa type %s from ZEVCFG ret=%e.\n"});
}
OBJECT(VAPPSKCipherKeyValue) {
    return column(call, VAP_SECURITY,
                  {.key = "wpa.passphrase", .trace = "rf%rvap%v passphrase %s from ZEVCFG ret=%e.\n"});
}
OBJECT(VAPDynamicWEPStatus) {
    return column(call, VAP_SECURITY, {.key = "dynwep.enabled", .codes = &SWITCH_CODES});
}
OBJECT(VAPDynamicWEPWEPKeyLength) {
    return column(call, VAP_SECURITY, {.key = "dynwep.keylen", .codes = &DYNAMIC_WEP_LENGTHS});
}
OBJECT(VAPDynamicWEPRekeyingPeriod) {
    return column(call, VAP_SECURITY, {.key = "dynwep.rekey"});
}
OBJECT(VAPWPAGroupKeyUpdatePeriod) {
    return column(call, VAP_SECURITY, {.key = "wpa.grprekey"});
}

// RADIUS servers: 0 is the primary one; the texts of the secondary one may be empty, which unsets them.
static bool ipv4(char *value) {
    return check_ipv4_addr(value);
}
static bool port(char *value) {
    return check_int_range(value, 1, 65535);
}
// Seconds between interim updates of the accounting; 0 for none.
static bool update_period(char *value) {
    return check_int_range(value, 0, 0) || check_int_range(value, 60, 600);
}
static bool visible(char *value) {
    return check_printable_nospace(value);
}
template <bool (*Check)(char *)>
static bool empty_or(char *value) {
    return *value == '\0' || Check(value);
}

OBJECT(VAPRadiusAuthPriIPAddr) {
    return column(call, VAP_SECURITY, {.key = "radius.server:0.ip", .check = ipv4});
}
OBJECT(VAPRadiusAuthPriPort) {
    return column(call, VAP_SECURITY, {.key = "radius.server:0.port", .check = port});
}
OBJECT(VAPRadiusAuthPriSecretKey) {
    return column(call, VAP_SECURITY, {.key = "radius.server:0.secret", .check = visible});
}
OBJECT(VAPRadiusAuthSecondIPAddr) {
    return column(call, ROW_FIRST, {.key = "radius.server:1.ip", .check = empty_or<ipv4>});
}
OBJECT(VAPRadiusAuthSecondPort) {
    return column(call, ROW_FIRST, {.key = "radius.server:1.port", .check = empty_or<port>});
}
OBJECT(VAPRadiusAuthSecondSecretKey) {
    return column(call, VAP_SECURITY, {.key = "radius.server:1.secret", .check = visible});
}
OBJECT(VAPRadiusAccPriEnable) {
    return column(call, VAP_SECURITY, {.key = "radius.server:0.acctenabled", .codes = &SWITCH_CODES});
}
OBJECT(VAPRadiusAccPriPort) {
    return column(call, VAP_SECURITY, {.key = "radius.server:0.acctport", .check = port});
}
OBJECT(VAPRadiusAccPriUpdatePeriod) {
    return column(call, VAP_SECURITY, {.key = "radius.server:0.interimIntr", .check = update_period});
}
OBJECT(VAPRadiusAccSecondEnable) {
    return column(call, ROW_FIRST, {.key = "radius.server:1.acctenabled", .codes = &SWITCH_CODES});
}
OBJECT(VAPRadiusAccSecondPort) {
    return column(call, ROW_FIRST, {.key = "radius.server:1.acctport", .check = empty_or<port>});
}
OBJECT(VAPRadiusAccSecondUpdatePeriod) {
    return column(call, ROW_FIRST, {.key = "radius.server:1.interimIntr", .check = empty_or<update_period>});
}
