// The wired side: switch mode, LAN ports and management addresses, objects 1.65 to 1.67.
#include <algorithm>
#include <cstdlib>

#include "function/rows.h"
#include "handler/check.h"
#include "handler/column.h"
#include "handler/system.h"

static constexpr Code SWITCH_MODE_LIST[] = {{1, "PORT-BASED"}, {2, "802.1Q"}};
static constexpr Codes SWITCH_MODES{SWITCH_MODE_LIST, "1"};
static constexpr const char *NO_SWITCH = "0";  // the mode shown by a device without a configurable switch

OBJECT(APSysPortSwitchMode) {
    if (!is_instance_0(call)) return call.reply;
    const Field field{.key = "vlan_type", .codes = &SWITCH_MODES};
    const Reading reading = read_item(NETWORK_L2.name.c_str(), field.key);
    const bool missing = reading.result == STORE_NO_SUCH_ITEM;
    if (call.kind == KIND_SET) {
        if (!missing) return scalar(call, NETWORK_L2, field);
        TRACE("SET str=%s\n", call.value);
        return set_refused(call);
    }
    TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
    stamp(call, CACHED);
    publish(call, {0}, missing ? NO_SWITCH : shown(field, reading.text));
    return call.reply;
}

// ---- LAN ports: a row for each port that may be managed, at the port's number, from 0 ----

static std::string read_traced(const std::string &key) {
    const Reading reading = read_item(NETWORK_L2.name.c_str(), key.c_str());
    TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
    return reading.text;
}

// A row number is an OID arc, which bounds what the store says.
static int port_count() {
    return std::min(atoi(read_traced("lan_num").c_str()), MAX_ARC + 1);
}

static std::string port_key(int port, const char *name) {
    return format("lan:%d.%s", port, name);
}

// Publishes `value(port)` for every port that has a row.
template <typename Value>
static snmp_reply *publish_ports(const HandlerCall &call, Refresh refresh, Value value) {
    stamp(call, refresh);
    const int count = port_count();
    for (int port = 0; port < count; port++)
        if (read_traced(port_key(port, "controllable")) == "enable") publish(call, {port}, value(port));
    return call.reply;
}

// A column of one item of each port; `field.key` is the part behind the port's number.
static snmp_reply *port_column(const HandlerCall &call, const Field &field) {
    if (call.kind == KIND_GET)
        return publish_ports(call, field.refresh,
                             [&](int port) { return shown(field, read_traced(port_key(port, field.key))); });
    if (call.object.access == READ_ONLY) return set_read_only(call);
    TRACE("SET str=%s\n", call.value);
    int port = 0;
    if (!parse_mulindex(call.instance, &port, 1) || port >= port_count()) return set_refused(call);
    if (read_traced(port_key(port, "controllable")) == "disable") return set_refused(call);
    if (!is_acceptable(call, field)) return set_refused(call);
    queue_item(NETWORK_L2.id, port_key(port, field.key).c_str(), stored(field, call.value));
    publish_written(call, {port}, call.value);
    return set_accepted(call);
}

OBJECT(APSysPortIndex) {
    if (call.kind == KIND_SET) return set_read_only(call);
    return publish_ports(call, CACHED, [](int port) { return std::to_string(port); });
}

// "vid" is a VLAN id when it is 1 to 4094; "4096" stands for no VLAN.
static std::string vlan_in_use(const std::string &text) {
    const int id = atoi(text.c_str());
    return id >= 1 && id <= 4094 ? "2" : "1";
}

static std::string vlan_id_or_none(const char *value) {
    return atoi(value) == 0 ? "4096" : value;
}

OBJECT(APSysPortVlanIdEnabled) {
    return port_column(call, {.key = "vid", .show = vlan_in_use, .refresh = LIVE});
}
OBJECT(APSysPortVlanId) {
    return port_column(call, {.key = "vid", .store = vlan_id_or_none});
}
OBJECT(APSysPortCAPWAPTunInterface) {
    return port_column(call, {.key = "tun", .codes = &SWITCH_CODES});
}

// ---- management addresses: ten entries, counted from 0 by the store ----

static Group remote_manage(const Row & /*row*/) {
    return {"remote_manage", GID_REMOTE_MANAGE};
}

static const Table MANAGEMENT_ADDRESSES{
    .arcs = "k",
    .counts = {10},
    .group = remote_manage,
    .set_trace = "SET str=%s\n",
    .order = Table::ROW_VALUE_TRACE,
};

OBJECT(APSysMgmtIPIndex) {
    return read_only_column(call, MANAGEMENT_ADDRESSES, CACHED,
                            [](const Row &row) { return std::to_string(row[0]); });
}

// The list is of fixed length: nothing can be written behind its end.
OBJECT(APSysMgmtIPAddrList) {
    if (call.kind == KIND_SET && call.index > MANAGEMENT_ADDRESSES.counts[0]) return set_refused(call);
    return column(call, MANAGEMENT_ADDRESSES,
                  {.key = "entry:%k.ip", .trace = "ans= %s from ZEVCFG ret=%e.\n"});
}
