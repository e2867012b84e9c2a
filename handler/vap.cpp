// VAP identity, counters and VLAN: what is special among the objects 3.1.1.1 to 3.1.1.23.
#include <cstdlib>

#include "handler/counters.h"
#include "handler/engine.h"
#include "handler/live_vaps.h"
#include "handler/rules.h"
#include "tree/rows.h"

// Where a radio steers its stations, a changed SSID or state of one VAP concerns others: the store adds the
// items that this takes.
static void keep_band_steering(const Row &row, const std::string &ssid, const std::string &state) {
    const Reading steering = read_item(gid_rf[row[0] - 1], "band_steering");
    pending_items = check_vap_band_steering(ram_sic_zevcfg, steering.text.c_str(), pending_items, row[0] - 1,
                                            row[1] - 1, ssid.c_str(), state.c_str());
}

snmp_reply *vap_ssid(const HandlerCall &call) {
    if (call.kind == KIND_GET) return ordinary(call);
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    const std::string current = read_row(call, row, "ssid");
    queue_row(call, row, "ssid", call.value);
    if (call.value != current) keep_band_steering(row, call.value, read_row(call, row, "state"));
    store_cell(call, row, call.value);
    return set_accepted(call);
}

snmp_reply *vap_state(const HandlerCall &call) {
    if (call.kind == KIND_GET) return ordinary(call);
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    const std::string state = stored(call.object, call.value);
    queue_row(call, row, "state", state);
    if (state != read_row(call, row, "state")) keep_band_steering(row, read_row(call, row, "ssid"), state);
    store_cell(call, row, call.value);
    return set_accepted(call);
}

static void publish_live(const HandlerCall &call, const LiveVap &vap, const std::string &value) {
    update_data_by_ifindex(is_requested(call, {vap.radio, vap.vap}) ? call.reply : nullptr, call.node,
                           value.c_str(), vap.state.ifindex);
}

snmp_reply *vap_bssid(const HandlerCall &call) {
    if (call.kind == KIND_SET) return set_read_only(call);
    stamp(call);
    for_each_live_vap([&](const LiveVap &vap) {
        if (vap.state.enabled != 1) return true;
        const std::string mac = read_system_item(format("rf%d_vap%d_mac", vap.radio, vap.vap).c_str()).text;
        TRACE(" Get vap mac:%s from ZEVCFG.\n", mac.c_str());
        publish_live(call, vap, mac);
        return true;
    });
    return call.reply;
}

// A VAP without an interface name ends the refresh.
static snmp_reply *octets(const HandlerCall &call, bool received) {
    if (call.kind == KIND_SET) return set_read_only(call);
    stamp(call);
    for_each_live_vap([&](const LiveVap &vap) {
        char ifname[IFNAME_SIZE];
        if (!vap.read_ifname(ifname)) {
            TRACE("Can't get interface name for VAP=%d\n", vap.radio - 1);
            return false;
        }
        publish_live(call, vap, interface_octets(ifname, received));
        return true;
    });
    return call.reply;
}

snmp_reply *vap_octets_received(const HandlerCall &call) {
    return octets(call, true);
}
snmp_reply *vap_octets_sent(const HandlerCall &call) {
    return octets(call, false);
}

static std::string vlan_id(const std::string &stored) {
    const int id = atoi(stored.c_str());
    return id >= 0 && id < atoi(NO_VLAN) ? std::to_string(id) : NO_VLAN;
}

// The row shows a written 0 as it is stored.
snmp_reply *vap_vlan(const HandlerCall &call) {
    if (call.kind == KIND_GET) return ordinary(call, {.show = vlan_id});
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    const std::string id = atoi(call.value) == 0 ? NO_VLAN : call.value;
    queue_row(call, row, id);
    store_cell(call, row, id);
    return set_accepted(call);
}

// Bandwidth limits are limits of the VAP's VLAN: without one there is none to show.
snmp_reply *vlan_bandwidth(const HandlerCall &call) {
    if (call.kind == KIND_SET) return ordinary(call);
    static constexpr const Object &VLAN_ID_OBJECT = *"VAPVlanId"_object;
    return get_rows(call, [&](const Row &row) -> std::string {
        const bool has_vlan = VLAN_ID_OBJECT.range.have(atoi(read_row(call, row, "vid").c_str()));
        return has_vlan ? read_row(call, row).text : "0";
    });
}

snmp_reply *vap_tunnel(const HandlerCall &call) {
    enum Tunnel { NONE = 1, ALL, SPLIT };
    if (call.kind == KIND_GET)
        return get_rows(call, [&](const Row &row) {
            const bool on = read_row(call, row).text == "enable";
            const bool split = read_row(call, row, "split_tun") == "enable";
            return std::to_string(!on ? NONE : split ? SPLIT : ALL);
        });
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    const int tunnel = atoi(call.value);
    return set_switches(call, row, {{"tun", tunnel != NONE}, {"split_tun", tunnel == SPLIT}});
}
