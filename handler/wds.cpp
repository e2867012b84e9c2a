// The WDS links of the radios: objects 4.1.1.1 to 4.1.1.11. Each link is a configuration group; what its
// radio must have, the link's switches and its key parameters are read from the store.
#include <cstdlib>

#include "handler/check.h"
#include "handler/column.h"

static Group link_group(const Row &row) {
    return {format("rf%d_wds%d", row[0], row[1]), gid_wds_link[(row[0] - 1) * WDS_LINKS + row[1] - 1]};
}

static constexpr Table LINKS = {.arcs = "rv",
                                .counts = {RADIOS, WDS_LINKS},
                                .group = link_group,
                                .set_trace = "SET str=%s\n",
                                .order = Table::ROW_TRACE_VALUE};

static constexpr const char *READ_TRACE = "ans= %s from ZEVCFG ret=%e.\n";

static snmp_reply *link_column(const HandlerCall &call, Field field) {
    field.trace = READ_TRACE;
    return column(call, LINKS, field);
}

static std::string radio_item(const Row &row, const char *key) {
    return read_item(format("rf%d", row[0]).c_str(), key).text;
}
static std::string link_item(const Row &row, const char *key) {
    return read_item(link_group(row).name.c_str(), key).text;
}
static bool has_wep(const Row &row) {
    return link_item(row, "wep.enabled") != "disable";
}
static bool has_wpa(const Row &row) {
    return link_item(row, "wpa.enabled") != "disable";
}

OBJECT(APWDSIndex) {
    return read_only_column(call, LINKS, CACHED, [](const Row &row) { return std::to_string(row[1]); });
}

// A link needs the radio's automatic rate, and a fixed channel to be enabled on.
static bool may_be_switched(const Row &row, const char *value) {
    constexpr int ENABLED = 2;
    return radio_item(row, "rate") == "auto" &&
           (atoi(value) != ENABLED || radio_item(row, "channel") != "auto");
}

OBJECT(APWDSLinkEnabled) {
    return link_column(call, {.key = "state", .condition = may_be_switched, .codes = &SWITCH_CODES});
}

static bool empty_or_mac(char *value) {
    return *value == '\0' || check_mac_addr(value);
}

// No two links of a radio have the same peer, and an enabled link has one.
static bool may_be_peer(const Row &row, const char *value) {
    if (*value == '\0') return link_item(row, "state") != "enable";
    for (int link = 1; link <= WDS_LINKS; link++)
        if (link != row[1] && link_item({row[0], link}, "mac") == value) return false;
    return true;
}

OBJECT(APWDSLinkMacAddr) {
    return link_column(call, {.key = "mac", .check = empty_or_mac, .condition = may_be_peer});
}

// The security type is two switches of the store.
enum Security { SECURITY_NONE, SECURITY_WEP, SECURITY_WPA };

OBJECT(APWDSLinkSecurityType) {
    static constexpr Field WEP = {.key = "wep.enabled", .trace = READ_TRACE};
    static constexpr Field WPA = {.key = "wpa.enabled", .trace = READ_TRACE};
    if (call.kind == KIND_GET) {
        stamp(call, CACHED);
        for_each_row(LINKS, [&](const Row &row) {
            Security type = SECURITY_NONE;
            if (read_field(call, LINKS, WEP, row).text == "enable")
                type = SECURITY_WEP;
            else if (read_field(call, LINKS, WPA, row).text == "enable")
                type = SECURITY_WPA;
            publish(call, row, std::to_string(type));
        });
        return call.reply;
    }
    Row row{};
    if (!accept_row(call, LINKS, {}, &row)) return call.reply;
    const unsigned group = link_group(row).id;
    const int type = atoi(call.value);
    queue_item(group, WEP.key, type == SECURITY_WEP ? "enable" : "disable");
    queue_item(group, WPA.key, type == SECURITY_WPA ? "enable" : "disable");
    publish_written(call, row, call.value);
    return set_accepted(call);
}

static constexpr Code WEP_LENGTH_LIST[] = {{1, "64"}, {2, "128"}, {3, "152"}};
static constexpr Codes WEP_LENGTHS{WEP_LENGTH_LIST, "Unallowable WEP Key Length"};

OBJECT(APWDSLinkWEPKeyLength) {
    return link_column(call, {.key = "wep.keylen",
                              .condition = [](const Row &row, const char *) { return has_wep(row); },
                              .codes = &WEP_LENGTHS});
}

static constexpr Code WEP_FORMAT_LIST[] = {{1, "ascii"}, {2, "hex"}};
static constexpr Codes WEP_FORMATS{WEP_FORMAT_LIST, "2"};

OBJECT(APWDSLinkWEPKeyFormat) {
    return link_column(call, {.key = "wep.method",
                              .condition = [](const Row &row, const char *) { return has_wep(row); },
                              .codes = &WEP_FORMATS});
}

OBJECT(APWDSLinkWEPKeyValue) {
    return link_column(call, {.key = "wep.key0", .condition = [](const Row &row, const char *value) {
                                  return has_wep(row) &&
                                         check_wep_key(value, link_item(row, "wep.keylen").c_str(),
                                                       link_item(row, "wep.method").c_str());
                              }});
}

static constexpr Code CIPHER_LIST[] = {{1, "rc4-tkip"}, {2, "aes-ccmp"}};
static constexpr Codes CIPHERS{CIPHER_LIST, "Invalid WPA Cipher Suite"};

OBJECT(APWDSLinkPSKCipherSuite) {
    return link_column(call, {.key = "wpa.enc",
                              .condition = [](const Row &row, const char *) { return has_wpa(row); },
                              .codes = &CIPHERS});
}

static constexpr Code PSK_TYPE_LIST[] = {{1, "psk"}, {2, "passphrase"}};
static constexpr Codes PSK_TYPES{PSK_TYPE_LIST, "2"};

OBJECT(APWDSLinkPSKKeyType) {
    return link_column(call, {.key = "wpa.type",
                              .condition = [](const Row &row, const char *) { return has_wpa(row); },
                              .codes = &PSK_TYPES});
}

OBJECT(APWDSLinkPSKKeyValue) {
    return link_column(call, {.key = "wpa.passphrase", .condition = [](const Row &row, const char *value) {
                                  return has_wpa(row) &&
                                         check_psk_key(value, link_item(row, "wpa.type").c_str());
                              }});
}

OBJECT(APWDSLinkCAPWAPTunnelInterfaceStatus) {
    return link_column(call, {.key = "tun", .codes = &SWITCH_CODES});
}
