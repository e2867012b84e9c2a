#include "handler/column.h"

#include <cstring>

#include "function/rows.h"
#include "platform/k480ext.h"

int levels(const Table &table) {
    return static_cast<int>(strlen(table.arcs));
}

static int arc_named(const Table &table, const Row &row, char name) {
    const char *place = strchr(table.arcs, name);
    return place ? row[static_cast<int>(place - table.arcs)] : 0;
}

std::string expand(const char *text, const Table &table, const Row &row, const std::string &stored,
                   int result, int index) {
    std::string out;
    for (; *text != '\0'; text++) {
        if (*text != '%' || text[1] == '\0') {
            out += *text;
            continue;
        }
        switch (const char name = *++text) {
            case 'r':
            case 'v':
                out += std::to_string(arc_named(table, row, name));
                break;
            case 'k':
            case 'm':
                out += std::to_string(arc_named(table, row, name) - 1);
                break;
            case 'I':
            case 'J':
            case 'K':
            case 'M':
                out += std::to_string(row[static_cast<int>(strchr("IJKM", name) - "IJKM")] - 1);
                break;
            case 's':
                out += stored;
                break;
            case 'e':
                out += std::to_string(result);
                break;
            case 'i':
                out += std::to_string(index);
                break;
            default:
                out += name;
        }
    }
    return out;
}

bool parse_row(const HandlerCall &call, const Table &table, Row *row) {
    const int n = levels(table);
    if (!parse_mulindex(call.instance, row->arcs, n)) return false;
    row->count = n;
    const bool is_list = table.arcs[0] == 'k';
    for (int i = 0; i < n; i++)
        if (row->arcs[i] < 1 || (!is_list && row->arcs[i] > table.counts[i])) return false;
    return true;
}

Reading read_field(const HandlerCall &call, const Table &table, const Field &field, const Row &row) {
    Reading reading = read_item(table.group(row).name.c_str(), expand(field.key, table, row).c_str());
    if (field.trace && trace_on())
        TRACE("%s", expand(field.trace, table, row, reading.text, reading.result, call.index).c_str());
    return reading;
}

static bool applies(const Field &field, const Row &row) {
    if (field.radios == ALL_RADIOS) return true;
    return (rf_is_offload(row[0] - 1) == 1) == (field.radios == OFFLOAD_RADIOS);
}

snmp_reply *column_get(const HandlerCall &call, const Table &table, const Field &field) {
    stamp(call, field.refresh);
    for_each_row(table, [&](const Row &row) {
        if (!applies(field, row)) {
            publish(call, row, "-1");
            return;
        }
        const Reading reading = read_field(call, table, field, row);
        const bool missing = field.missing && reading.result == STORE_NO_SUCH_ITEM;
        publish(call, row, missing ? field.missing : shown(field, reading.text));
    });
    return call.reply;
}

bool accept_row(const HandlerCall &call, const Table &table, const Field &field, Row *row) {
    const auto is_value = [&] { return is_acceptable(call, field); };
    const auto is_row = [&] { return parse_row(call, table, row); };
    const auto trace_set = [&] {
        if (trace_on()) TRACE("%s", expand(table.set_trace, table, *row, call.value).c_str());
        return true;
    };
    bool accepted = false;
    switch (table.order) {
        case Table::TRACE_VALUE_ROW: {
            const bool addressed = is_row();  // the trace may name the arcs
            accepted = trace_set() && is_value() && addressed;
            break;
        }
        case Table::VALUE_ROW_TRACE:
            accepted = is_value() && is_row() && trace_set();
            break;
        case Table::ROW_VALUE_TRACE:
            accepted = is_row() && is_value() && trace_set();
            break;
        case Table::ROW_TRACE_VALUE:
            accepted = is_row() && trace_set() && is_value();
            break;
    }
    if (!accepted) set_refused(call);
    return accepted;
}

snmp_reply *column_set(const HandlerCall &call, const Table &table, const Field &field) {
    if (call.object.access == READ_ONLY) return set_read_only(call);
    Row row{};
    if (!accept_row(call, table, field, &row)) return call.reply;
    if (field.condition && !field.condition(row, call.value)) return set_refused(call);
    if (!applies(field, row)) return set_accepted(call);
    const Group group = table.group(row);
    const std::string key = expand(field.key, table, row);
    if (field.optional && read_item(group.id, key.c_str()).result == STORE_NO_SUCH_ITEM)
        return set_accepted(call);
    queue_item(group.id, key.c_str(), stored(field, call.value));
    publish_written(call, row, call.value);
    return set_accepted(call);
}

snmp_reply *column(const HandlerCall &call, const Table &table, const Field &field) {
    return call.kind == KIND_GET ? column_get(call, table, field) : column_set(call, table, field);
}
