// The wired side: switch mode and LAN ports, objects 1.65 and 1.66.
#include "handler/engine.h"
#include "handler/rules.h"

// A device without a configurable switch has no mode: 0 shows and none can be set.
snmp_reply *port_switch_mode(const HandlerCall &call) {
    if (!is_instance_0(call)) return call.reply;
    if (has_item(call, {0})) return ordinary(call);
    if (call.kind == KIND_SET) {
        TRACE("SET str=%s\n", call.value);
        return set_refused(call);
    }
    TRACE("ans= %s from ZEVCFG ret=%d.\n", "", STORE_NO_SUCH_ITEM);
    stamp(call);
    publish(call, {0}, "0");
    return call.reply;
}

// ---- LAN ports: a row for each port that may be managed, at the port's number, from 0 ----

static std::string controllable(const HandlerCall &call, const Row &row) {
    const Reading reading = read_item(call.table->group, format("lan:%d.controllable", row[0]).c_str());
    TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
    return reading.text;
}

template <typename Value>
static snmp_reply *publish_ports(const HandlerCall &call, Value value) {
    stamp(call);
    for_each_row(call, [&](const Row &row) {
        if (controllable(call, row) == "enable") publish(call, row, value(row));
    });
    return call.reply;
}

snmp_reply *port_index(const HandlerCall &call) {
    if (call.kind == KIND_SET) return set_read_only(call);
    return publish_ports(call, [](const Row &row) { return std::to_string(row[0]); });
}

// A column of one item of each port.
snmp_reply *port_column(const HandlerCall &call) {
    if (call.kind == KIND_GET)
        return publish_ports(call,
                             [&](const Row &row) { return shown(call.object, read_row(call, row).text); });
    if (call.object.access == READ_ONLY) return set_read_only(call);
    TRACE("SET str=%s\n", call.value);
    Row row{};
    if (!parse_row(call, &row) || row[0] > last_row(*call.table)) return set_refused(call);
    if (controllable(call, row) == "disable") return set_refused(call);
    if (!is_acceptable(call.object, call.value)) return set_refused(call);
    queue_row(call, row, stored(call.object, call.value));
    store_cell(call, row, call.value);
    return set_accepted(call);
}
