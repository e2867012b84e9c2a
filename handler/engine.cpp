#include "handler/engine.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/k480ext.h"
#include "tree/rows.h"

// ---- groups and items ----

static const char *group_pattern(const HandlerCall &call) {
    if (call.object.group) return call.object.group;
    return call.table ? call.table->group : "";
}

std::string group_name(const HandlerCall &call, const Row &row) {
    std::string name;
    expand(&name, group_pattern(call), call.table, row);
    return name;
}

unsigned group_id(const HandlerCall &call, const Row &row) {
    return group_id(group_pattern(call), row);
}

static std::string item_key(const HandlerCall &call, const Row &row) {
    std::string key;
    expand(&key, call.object.key, call.table, row);
    return key;
}

Reading read_row(const HandlerCall &call, const Row &row) {
    static std::string group, key;  // keep their memory from row to row
    Reading reading;
    if (call.object.system) {
        expand(&key, call.object.system, call.table, row);
        reading = read_system_item(key.c_str());
    } else {
        expand(&group, group_pattern(call), call.table, row);
        expand(&key, call.object.key, call.table, row);
        reading = read_item(group.c_str(), key.c_str());
    }
    const char *trace = call.object.trace ? call.object.trace : call.table ? call.table->trace : READ_TRACE;
    trace_row(call, trace, row, reading.text, key, reading.result);
    return reading;
}

Reading read_row_traced(const HandlerCall &call, const Row &row, const char *pattern) {
    std::string key;
    expand(&key, pattern, call.table, row);
    Reading reading = read_item(group_name(call, row).c_str(), key.c_str());
    trace_row(call, call.table->trace, row, reading.text, key, reading.result);
    return reading;
}

std::string read_row(const HandlerCall &call, const Row &row, const char *key) {
    return read_item(group_name(call, row).c_str(), key).text;
}

void queue_row(const HandlerCall &call, const Row &row, const char *key, const std::string &text) {
    queue_item(group_id(call, row), key, text);
}

void queue_row(const HandlerCall &call, const Row &row, const std::string &text) {
    queue_row(call, row, item_key(call, row).c_str(), text);
}

snmp_reply *set_switches(const HandlerCall &call, const Row &row,
                         std::initializer_list<std::pair<const char *, bool>> switches) {
    for (const auto &[key, on] : switches) queue_row(call, row, key, on ? "enable" : "disable");
    store_cell(call, row, call.value);
    return set_accepted(call);
}

bool has_item(const HandlerCall &call, const Row &row) {
    return read_item(group_id(call, row), item_key(call, row).c_str()).result != STORE_NO_SUCH_ITEM;
}

// ---- rows ----

// What a variable of the device says, or the size item of the table's group.
static int counted_rows(const Table &table) {
    if (table.size_name) {
        char maximum[64] = "";
        if (get_rc_env(table.size_name, maximum, sizeof maximum) != 0)
            TRACE("It is failed to use popen().\n");
        if (*maximum != '\0') return atoi(maximum);
        TRACE("Item not found.\n");
    }
    const Reading size = read_item(table.group, table.size_key);
    TRACE("ans= %s from ZEVCFG ret=%d.\n", size.text.c_str(), size.result);
    return atoi(size.text.c_str());
}

int last_row(const Table &table) {
    const Arc &last = table.arcs[table.levels() - 1];
    if (!table.is_counted()) return last.high;
    // Rows that have no arc are not published.
    const int rows = std::clamp(counted_rows(table), 0, MAX_ARC + 1);
    return std::min(last.low + table.predefined + rows - 1, last.high);
}

static void trace_no_instance(const HandlerCall &call) {
    TRACE("The node is not exist: %d\n", call.index);
}

bool is_instance_0(const HandlerCall &call) {
    if (is_requested(call, {0})) return true;
    trace_no_instance(call);
    return false;
}

bool may_have_rows(const HandlerCall &call) {
    if (!call.table->checks_first_arc || (call.index >= 0 && call.index <= call.table->arcs[0].high))
        return true;
    trace_no_instance(call);
    return false;
}

bool parse_row(const HandlerCall &call, Row *row) {
    const int n = call.table->levels();
    if (n == 1) {
        *row = call.requested;
    } else {
        row->count = parse_mulindex(call.instance, row->arcs, n) ? n : 0;
    }
    if (row->count != n) return false;
    for (int i = 0; i < n; i++) {
        const Arc &arc = call.table->arcs[i];
        if (row->arcs[i] < arc.low || (!call.table->is_counted() && row->arcs[i] > arc.high)) return false;
    }
    return true;
}

bool accept_row(const HandlerCall &call, Row *row) {
    const auto is_value = [&] { return is_acceptable(call.object, call.value); };
    const auto is_row = [&] { return parse_row(call, row); };
    const auto trace_set = [&] {
        trace_row(call, call.object.set_trace ? call.object.set_trace : call.table->set_trace, *row,
                  call.value);
        return true;
    };
    bool accepted = false;
    switch (call.object.instance_first ? ROW_TRACE_VALUE : call.table->set_order) {
        case TRACE_VALUE_ROW: {
            const bool addressed = is_row();  // the trace may name the arcs
            accepted = trace_set() && is_value() && addressed;
            break;
        }
        case VALUE_ROW_TRACE:
            accepted = is_value() && is_row() && trace_set();
            break;
        case ROW_VALUE_TRACE:
            accepted = is_row() && is_value() && trace_set();
            break;
        case ROW_TRACE_VALUE:
            accepted = is_row() && trace_set() && is_value();
            break;
    }
    if (!accepted) set_refused(call);
    return accepted;
}

// ---- the engine ----

// False for a radio of the other kind.
static bool has_setting(const Object &object, const Row &row) {
    if (object.radios == ALL_RADIOS) return true;
    return (rf_is_offload(row[0] - 1) == 1) == (object.radios == OFFLOAD_RADIOS);
}

bool are_needs_met(const HandlerCall &call, const Row &row) {
    return std::all_of(call.object.needs.begin(), call.object.needs.end(), [&](const Need &need) {
        return !need.key || (read_row(call, row, need.key) == need.text) == need.is;
    });
}

static bool is_allowed(const HandlerCall &call, const Row &row, const Hooks &hooks) {
    return are_needs_met(call, row) && (!hooks.condition || hooks.condition(call, row));
}

static std::string shown(const HandlerCall &call, const Hooks &hooks, const std::string &stored) {
    return hooks.show ? hooks.show(stored) : shown(call.object, stored);
}

static std::string stored(const HandlerCall &call, const Hooks &hooks) {
    return hooks.store ? hooks.store(call.value) : stored(call.object, call.value);
}

static std::string cell(const HandlerCall &call, const Row &row, const Hooks &hooks) {
    if (call.object.shows_arc) {
        trace_row(call, call.object.trace, row, "");
        return std::to_string(row[row.count - 1]);
    }
    if (!has_setting(call.object, row)) return "-1";
    const Reading reading = read_row(call, row);
    const bool missing = call.object.missing && reading.result == STORE_NO_SUCH_ITEM;
    return missing ? call.object.missing : shown(call, hooks, reading.text);
}

// Rows of VAPs that exist in the kernel. One that has left it goes on being shown as it was last.
static void publish_in_kernel(const HandlerCall &call, const Hooks &hooks) {
    for_each_row(call, [&](const Row &row) {
        const int ifindex = zevap->vap[row[0] - 1][row[1] - 1].ifindex;
        if (ifindex <= 0) return;
        update_data_by_ifindex(is_requested(call, row) ? call.reply : nullptr, call.node,
                               cell(call, row, hooks).c_str(), ifindex);
    });
}

static snmp_reply *column_get(const HandlerCall &call, const Hooks &hooks) {
    if (!call.object.in_kernel) return get_rows(call, [&](const Row &row) { return cell(call, row, hooks); });
    stamp(call);
    publish_in_kernel(call, hooks);
    return call.reply;
}

static snmp_reply *column_set(const HandlerCall &call, const Hooks &hooks) {
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    if (!is_allowed(call, row, hooks)) return set_refused(call);
    if (!has_setting(call.object, row)) return set_accepted(call);
    if (call.object.optional && !has_item(call, row)) return set_accepted(call);
    queue_row(call, row, stored(call, hooks));
    store_cell(call, row, call.value);
    return set_accepted(call);
}

static snmp_reply *scalar_get(const HandlerCall &call, const Row &row, const Hooks &hooks) {
    const Reading reading = read_row(call, row);
    if (row[0] == 0) stamp(call);  // an odd instance does not hide the one that the walk asks for
    publish(call, row, shown(call, hooks, reading.text));
    return call.reply;
}

static snmp_reply *scalar_set(const HandlerCall &call, const Row &row, const Hooks &hooks) {
    TRACE("SET str=%s\n", call.value);
    if (!is_acceptable(call.object, call.value) || !is_allowed(call, row, hooks)) return set_refused(call);
    queue_row(call, row, stored(call, hooks));
    store_cell(call, row, call.value);
    return set_accepted(call);
}

snmp_reply *ordinary(const HandlerCall &call, const Hooks &hooks) {
    const bool writes = call.kind == KIND_SET;
    if (call.table) {
        if (writes && call.object.access == READ_ONLY) return set_read_only(call);
        return writes ? column_set(call, hooks) : column_get(call, hooks);
    }
    const Row row{call.object.any_instance ? call.index : 0};
    if (!is_requested(call, row)) {
        trace_no_instance(call);
        return call.reply;
    }
    if (writes && call.object.access == READ_ONLY) return set_read_only(call);
    return writes ? scalar_set(call, row, hooks) : scalar_get(call, row, hooks);
}

snmp_reply *ordinary(const HandlerCall &call) {
    return ordinary(call, {});
}

snmp_reply *action_scalar(const HandlerCall &call, bool (*act)()) {
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_GET) {
        stamp(call);
        publish(call, {0}, "0");
        return call.reply;
    }
    TRACE("SET str=%s\n", call.value);
    if (!within_range(call.object, call.value)) return set_refused(call);
    return atoi(call.value) != 1 || act() ? set_accepted(call) : set_refused(call);
}
