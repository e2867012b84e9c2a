// The WDS links of the radios: objects 4.1.1.1 to 4.1.1.11. Each link is a configuration group; what its
// radio must have, the link's switches and its key parameters are read from the store.
#include <cstdlib>

#include "handler/check.h"
#include "handler/engine.h"
#include "handler/rules.h"

static std::string radio_item(const Row &row, const char *key) {
    return read_item(format("rf%d", row[0]).c_str(), key).text;
}

// A link needs the radio's automatic rate, and a fixed channel to be enabled on.
static bool may_be_switched(const HandlerCall &call, const Row &row) {
    constexpr int ENABLED = 2;
    return radio_item(row, "rate") == "auto" &&
           (atoi(call.value) != ENABLED || radio_item(row, "channel") != "auto");
}

snmp_reply *link_state(const HandlerCall &call) {
    return ordinary(call, {.condition = may_be_switched});
}

// No two links of a radio have the same peer, and an enabled link has one.
static bool may_be_peer(const HandlerCall &call, const Row &row) {
    if (*call.value == '\0') return read_row(call, row, "state") != "enable";
    for (int link = 1; link <= WDS_LINKS; link++)
        if (link != row[1] && read_row(call, {row[0], link}, "mac") == call.value) return false;
    return true;
}

snmp_reply *link_peer(const HandlerCall &call) {
    return ordinary(call, {.condition = may_be_peer});
}

// The security type is two switches of the store.
snmp_reply *link_security(const HandlerCall &call) {
    enum Security { NONE, WEP, WPA };
    if (call.kind == KIND_GET)
        return get_rows(call, [&](const Row &row) {
            const bool wep = read_row_traced(call, row, "wep.enabled").text == "enable";
            const bool wpa = !wep && read_row_traced(call, row, "wpa.enabled").text == "enable";
            return std::to_string(wep ? WEP : wpa ? WPA : NONE);
        });
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    const int type = atoi(call.value);
    return set_switches(call, row, {{"wep.enabled", type == WEP}, {"wpa.enabled", type == WPA}});
}

snmp_reply *link_wep_key(const HandlerCall &call) {
    return ordinary(call, {.condition = [](const HandlerCall &c, const Row &row) {
                        return check_wep_key(c.value, read_row(c, row, "wep.keylen").c_str(),
                                             read_row(c, row, "wep.method").c_str());
                    }});
}

snmp_reply *link_psk_key(const HandlerCall &call) {
    return ordinary(call, {.condition = [](const HandlerCall &c, const Row &row) {
                        return check_psk_key(c.value, read_row(c, row, "wpa.type").c_str());
                    }});
}
