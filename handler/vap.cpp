// VAP identity, counters, VLAN and QoS: objects 3.1.1.1 to 3.1.1.23 and 3.1.1.69 to 3.1.1.71.
#include "handler/vap.h"

#include <charconv>
#include <cstring>
#include <vector>

#include "function/rows.h"
#include "handler/check.h"
#include "handler/counters.h"
#include "platform/k480ext.h"

static Group group_of(const Row &row, const char *suffix, const unsigned *ids) {
    return {format("rf%d_vap%d%s", row[0], row[1], suffix), ids[(row[0] - 1) * VAPS + row[1] - 1]};
}

Group vap_group(const Row &row) {
    return group_of(row, "", gid_vap);
}
Group vap_security_group(const Row &row) {
    return group_of(row, "_sec", gid_vap_sec);
}
Group vap_hotspot_group(const Row &row) {
    return group_of(row, "_hs20", gid_vap_hs20);
}

static std::string instance_text(const Row &row) {
    std::string text = std::to_string(row[0]);
    for (int i = 1; i < row.count; i++) text += "." + std::to_string(row[i]);
    return text;
}

snmp_reply *index_column(const HandlerCall &call, const Table &table) {
    return read_only_column(call, table, CACHED, [&](const Row &row) {
        if (trace_on()) {
            const std::string text = instance_text(row);
            TRACE("request oid=%s roid=%s cmp=%d\n", call.instance, text.c_str(),
                  strcmp(call.instance, text.c_str()));
        }
        return std::to_string(row[row.count - 1]);
    });
}

snmp_reply *existing_item(const HandlerCall &call, const Table &table, Field field) {
    field.missing = "-1";
    field.optional = true;
    return column(call, table, field);
}

// Live columns have a row for each VAP that exists in the kernel, and go on showing a VAP that has left it as
// it was last.
static const agent_vap &vap_state(const Row &row) {
    return zevap->vap[row[0] - 1][row[1] - 1];
}

static std::vector<Row> vaps_in_kernel() {
    std::vector<Row> rows;
    for_each_row(VAP, [&](const Row &row) {
        if (vap_state(row).ifindex > 0) rows.push_back(row);
    });
    return rows;
}

static void publish_live(const HandlerCall &call, const Row &row, const std::string &value) {
    snmp_reply scratch;
    scratch.oid[0] = scratch.value[0] = '\0';
    update_data_by_ifindex(is_requested(call, row) ? call.reply : &scratch, call.node, value.c_str(),
                           vap_state(row).ifindex);
}

template <typename Value>
static snmp_reply *live_column(const HandlerCall &call, Refresh refresh, Value value) {
    if (call.kind == KIND_SET) return set_read_only(call);
    stamp(call, refresh);
    for (const Row &row : vaps_in_kernel()) publish_live(call, row, value(row));
    return call.reply;
}

static snmp_reply *live_field(const HandlerCall &call, const Field &field) {
    return live_column(call, field.refresh,
                       [&](const Row &row) { return shown(field, read_field(call, VAP, field, row).text); });
}

static std::string system_item_of(const Row &row, const char *what) {
    return read_system_item(format("rf%d_vap%d_%s", row[0], row[1], what).c_str()).text;
}

OBJECT(VAPIndex) {
    return index_column(call, VAP);
}

static bool name_chars(char *value) {
    return check_name_chars(value);
}

OBJECT(VAPProfileName) {
    Table table = VAP;
    table.set_trace = "SET str=%s, i:%I, j:%J\n";
    return column(call, table,
                  {.key = "name",
                   .check = name_chars,
                   .trace = "rf:%r,vap:%v name %s from ZEVCFG ret=%e. index = %i\n"});
}

// Where a radio steers its stations, a changed SSID or state of one VAP concerns others: the store adds the
// items that this takes.
static void keep_band_steering(const Row &row, const std::string &ssid, const std::string &state) {
    const Reading steering = read_item(gid_rf[row[0] - 1], "band_steering");
    pending_items = check_vap_band_steering(ram_sic_zevcfg, steering.text.c_str(), pending_items, row[0] - 1,
                                            row[1] - 1, ssid.c_str(), state.c_str());
}

static bool ssid(char *value) {
    return check_printable(value) && value[0] != ' ' && value[strlen(value) - 1] != ' ';
}

OBJECT(VAPESSID) {
    const Field field{
        .key = "ssid", .check = ssid, .trace = "rf:%r,vap:%v ssid %s from ZEVCFG ret=%e. index = %i\n"};
    if (call.kind == KIND_GET) return column_get(call, VAP, field);
    Row row{};
    if (!accept_row(call, VAP, field, &row)) return call.reply;
    const Group group = vap_group(row);
    const std::string current = read_item(group.name.c_str(), "ssid").text;
    queue_item(group.id, "ssid", call.value);
    if (call.value != current) keep_band_steering(row, call.value, read_item(group.id, "state").text);
    publish_written(call, row, call.value);
    return set_accepted(call);
}

OBJECT(VAPBSSID) {
    if (call.kind == KIND_SET) return set_read_only(call);
    stamp(call, CACHED);
    for (const Row &row : vaps_in_kernel()) {
        if (vap_state(row).enabled != 1) continue;
        const std::string mac = system_item_of(row, "mac");
        TRACE(" Get vap mac:%s from ZEVCFG.\n", mac.c_str());
        publish_live(call, row, mac);
    }
    return call.reply;
}

OBJECT(VAPSSIDEnabled) {
    const Field field{.key = "state", .codes = &SWITCH_CODES};
    if (call.kind == KIND_GET) return column_get(call, VAP, field);
    Row row{};
    if (!accept_row(call, VAP, field, &row)) return call.reply;
    const Group group = vap_group(row);
    const std::string state = stored(field, call.value);
    queue_item(group.id, "state", state);
    if (state != read_item(group.id, "state").text)
        keep_band_steering(row, read_item(group.id, "ssid").text, state);
    publish_written(call, row, call.value);
    return set_accepted(call);
}

// "vid" holds a VLAN id; 4096 stands for no VLAN.
static constexpr const Object &VLAN_ID = *find_object("VAPVlanId");

static std::string vlan_id(const std::string &stored) {
    const int id = atoi(stored.c_str());
    return id >= 0 && id < 4096 ? std::to_string(id) : "4096";
}

OBJECT(VAPVlanId) {
    const Field field{.key = "vid", .show = vlan_id, .trace = "vap%v vid %s from ZEVCFG ret=%e.\n"};
    if (call.kind == KIND_GET) return column_get(call, VAP, field);
    Row row{};
    if (!accept_row(call, VAP, field, &row)) return call.reply;
    const std::string id = atoi(call.value) == 0 ? "4096" : call.value;
    queue_item(vap_group(row).id, "vid", id);
    publish_written(call, row, id);
    return set_accepted(call);
}

static bool has_vlan(const std::string &stored) {
    return VLAN_ID.in_range(atoi(stored.c_str()));
}

OBJECT(VAPVlanIdEnabled) {
    return live_field(
        call, {.key = "vid",
               .show = [](const std::string &stored) -> std::string { return has_vlan(stored) ? "2" : "1"; },
               .refresh = LIVE,
               .trace = "vap%v vid %s from ZEVCFG ret=%e.\n"});
}

// Bandwidth limits are limits of the VAP's VLAN: without one there is none to show.
static snmp_reply *bandwidth(const HandlerCall &call, const Field &field) {
    if (call.kind == KIND_SET) return column_set(call, VAP, field);
    stamp(call, field.refresh);
    for_each_row(VAP, [&](const Row &row) {
        const Reading vid = read_item(vap_group(row).name.c_str(), "vid");
        publish(call, row, has_vlan(vid.text) ? read_field(call, VAP, field, row).text : "0");
    });
    return call.reply;
}

OBJECT(VAPVlanUpBandwidth) {
    return bandwidth(
        call, {.key = "upband", .trace = "rf%r,vap%v upband %s from ZEVCFG ret=%e.\n", .optional = true});
}
OBJECT(VAPVlanDownBandwidth) {
    return bandwidth(call, {.key = "downband", .optional = true});
}

OBJECT(VAPUplink802dot1p) {
    return column(call, VAP, {.key = "up8021p", .optional = true});
}

// Downlink 802.1p: the store keeps, for each traffic class, the priority that stands for an access category.
static constexpr Code ACCESS_CATEGORY_LIST[] = {{0, "6"}, {1, "4"}, {2, "0"}, {3, "1"}};
static constexpr Codes ACCESS_CATEGORIES{ACCESS_CATEGORY_LIST, "-1"};

// The number maps, however it is written.
static std::string access_category(const std::string &stored) {
    int priority = 0;
    const char *end = stored.data() + stored.size();
    const auto [stop, error] = std::from_chars(stored.data(), end, priority);
    return ACCESS_CATEGORIES.shown(error == std::errc() && stop == end ? std::to_string(priority) : "");
}

static snmp_reply *downlink(const HandlerCall &call, const char *key, const char *trace = nullptr) {
    return existing_item(call, VAP,
                         {.key = key,
                          .codes = &ACCESS_CATEGORIES,
                          .show = access_category,
                          .trace = trace,
                          .radios = PLAIN_RADIOS});
}

OBJECT(VAPDownlink802dot1pBK) {
    return downlink(call, "down8021p_bk");
}
OBJECT(VAPDownlink802dot1pBE) {
    return downlink(call, "down8021p_be");
}
OBJECT(VAPDownlink802dot1pEE) {
    return downlink(call, "down8021p_ee");
}
OBJECT(VAPDownlink802dot1pCA) {
    return downlink(call, "down8021p_ca");
}
OBJECT(VAPDownlink802dot1pVI) {
    return downlink(call, "down8021p_vi");
}
OBJECT(VAPDownlink802dot1pVO) {
    return downlink(call, "down8021p_vo", "rf%r vap%v down8021p_vo %s from ZEVCFG ret=%e.\n");
}
OBJECT(VAPDownlink802dot1pIC) {
    return downlink(call, "down8021p_ic");
}
OBJECT(VAPDownlink802dot1pNC) {
    return downlink(call, "down8021p_nc");
}

OBJECT(VAPCAPWAPTunnelInterfaceStatus) {
    const Field tunnel{.key = "tun", .trace = "rf%r,vap%v capwap tunnel %s from ZEVCFG ret=%e.\n"};
    if (call.kind == KIND_GET) {
        stamp(call, CACHED);
        for_each_row(VAP, [&](const Row &row) {
            const bool on = read_field(call, VAP, tunnel, row).text == "enable";
            const bool split = read_item(vap_group(row).name.c_str(), "split_tun").text == "enable";
            publish(call, row, !on ? "1" : split ? "3" : "2");
        });
        return call.reply;
    }
    Row row{};
    if (!accept_row(call, VAP, tunnel, &row)) return call.reply;
    const int code = atoi(call.value);
    queue_item(vap_group(row).id, "tun", code == 1 ? "disable" : "enable");
    queue_item(vap_group(row).id, "split_tun", code == 3 ? "enable" : "disable");
    publish_written(call, row, call.value);
    return set_accepted(call);
}

OBJECT(VAPNumOfStations) {
    return live_column(call, LIVE, [](const Row &row) {
        std::string stations = system_item_of(row, "sta");
        TRACE(" Get sta num:%s from ZEVCFG.\n", stations.c_str());
        return stations;
    });
}

// A VAP in the kernel without an interface name is on its way in or out: the refresh ends there.
static snmp_reply *octets(const HandlerCall &call, bool received) {
    if (call.kind == KIND_SET) return set_read_only(call);
    stamp(call, LIVE);
    for (const Row &row : vaps_in_kernel()) {
        char ifname[IFNAME_SIZE];
        if (!get_ifname_by_idx(IFNAME_VAP, row[0] - 1, row[1] - 1, ifname)) {
            TRACE("Can't get interface name for VAP=%d\n", row[0] - 1);
            break;
        }
        publish_live(call, row, interface_octets(ifname, received));
    }
    return call.reply;
}

OBJECT(VAPInOctets) {
    return octets(call, true);
}
OBJECT(VAPOutOctets) {
    return octets(call, false);
}

OBJECT(VAPBandSteeringEnabled) {
    return live_field(call, {.key = "band_steer",
                             .codes = &SWITCH_CODES,
                             .trace = "rf%r,vap%v band_steer %s from ZEVCFG ret=%e.\n"});
}

OBJECT(VAPSplitTunnelServiceZone) {
    return column(call, VAP,
                  {.key = "split_sz",
                   .show = as_number,
                   .store = plain_number,
                   .trace = "rf%r,vap%v split_sz %s from ZEVCFG ret=%e.\n"});
}
OBJECT(VAPWPAProtectMgmtFrame) {
    return column(call, VAP_SECURITY,
                  {.key = "wpa.pmf",
                   .show = as_number,
                   .store = plain_number,
                   .trace = "rf%r_vap%v_sec wpa.pmf %s from ZEVCFG ret=%e.\n"});
}
OBJECT(VAPTxSTBC) {
    return column(
        call, VAP,
        {.key = "tx_stbc", .codes = &SWITCH_CODES, .trace = "rf%r,vap%v tx_stbc %s from ZEVCFG ret=%e.\n"});
}
