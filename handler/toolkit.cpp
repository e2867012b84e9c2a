#include "handler/toolkit.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "function/resolve.h"
#include "function/rows.h"
#include "handler/check.h"

cfg_item *pending_items = nullptr;

static snmp_reply *with_status(const HandlerCall &call, ReplyStatus status) {
    call.reply->reply_status = status;
    return call.reply;
}

snmp_reply *set_accepted(const HandlerCall &call) {
    return with_status(call, STATUS_ACCEPTED);
}
snmp_reply *set_refused(const HandlerCall &call) {
    return with_status(call, STATUS_WRONG_VALUE);
}
snmp_reply *set_read_only(const HandlerCall &call) {
    return with_status(call, STATUS_READ_ONLY);
}

bool is_requested(const HandlerCall &call, const Row &row) {
    if (row.count == 1) return call.index == row[0] && !strchr(call.instance, '.');
    char text[6 * 12];
    int length = 0;
    for (int i = 0; i < row.count; i++)
        length += snprintf(text + length, sizeof text - length, i ? ".%d" : "%d", row[i]);
    return strcmp(text, call.instance) == 0;
}

static void publish_into(snmp_reply *reply, const HandlerCall &call, const Row &row,
                         const std::string &value) {
    if (row.count == 1)
        update_data(reply, call.node, value.c_str(), row[0]);
    else if (row.count == 6)
        update_data_by_mac(reply, call.node, value.c_str(), row.arcs);
    else
        update_data_by_mulindex(reply, call.node, value.c_str(), row.arcs, row.count);
}

void publish(const HandlerCall &call, const Row &row, const std::string &value) {
    if (is_requested(call, row))
        publish_into(call.reply, call, row, value);
    else
        publish_written(call, row, value);
}

void publish_written(const HandlerCall &call, const Row &row, const std::string &value) {
    snmp_reply scratch;
    scratch.oid[0] = scratch.value[0] = '\0';
    publish_into(&scratch, call, row, value);
}

void stamp(const HandlerCall &call, Refresh refresh) {
    if (refresh == LIVE)
        update_time(call.node);
    else
        update_time_and_unset_update_bit(call.node);
}

template <typename Read>
static Reading read_text(Read read) {
    char text[STORE_TEXT_SIZE];
    text[0] = '\0';
    const int result = read(text);
    return {result, text};
}

Reading read_item(const char *group, const char *key) {
    return read_text([&](char *out) { return get_cfg_item_by_str(ram_sic_zevcfg, group, key, out); });
}

Reading read_item(unsigned group_id, const char *key) {
    return read_text([&](char *out) { return get_cfg_item(ram_sic_zevcfg, group_id, key, out); });
}

Reading read_system_item(const char *name) {
    return read_text([&](char *out) { return get_sys_item(name, out); });
}

void queue_item(unsigned group_id, const char *key, const std::string &value) {
    pending_items = append_cfg_item(pending_items, group_id, key, value.c_str());
}

std::string format(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char text[TEXT_SIZE];
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::string Codes::shown(const std::string &stored) const {
    for (int i = 0; i < count; i++)
        if (stored == list[i].text) return std::to_string(list[i].value);
    return otherwise;
}

const char *Codes::stored(int value) const {
    for (int i = 0; i < count; i++)
        if (list[i].value == value) return list[i].text;
    return nullptr;
}

bool within_bounds(const Object &object, const char *value) {
    if (!object.has_range()) return true;
    for (const Range &range : object.range) {
        if (range.low > range.high) continue;
        if (object.type == INTEGER && check_int_range(value, range.low, range.high)) return true;
        const auto length = static_cast<long>(strlen(value));
        if (object.type != INTEGER && length >= range.low && length <= range.high) return true;
    }
    return false;
}

bool is_acceptable(const HandlerCall &call, const Field &field) {
    return within_bounds(call.object, call.value) && (!field.check || field.check(call.value));
}

std::string shown(const Field &field, const std::string &stored) {
    if (field.show) return field.show(stored);
    return field.codes ? field.codes->shown(stored) : stored;
}

std::string stored(const Field &field, const char *value) {
    if (field.store) return field.store(value);
    return field.codes ? field.codes->stored(atoi(value)) : value;
}

static bool is_no_instance(const HandlerCall &call) {
    TRACE("The node is not exist: %d\n", call.index);
    return false;
}

bool is_instance_0(const HandlerCall &call) {
    return is_requested(call, {0}) || is_no_instance(call);
}

snmp_reply *scalar(const HandlerCall &call, const Group &group, const Field &field) {
    const Row row{field.any_instance ? call.index : 0};
    if (!is_requested(call, row)) {
        is_no_instance(call);
        return call.reply;
    }
    if (call.kind == KIND_GET) {
        const Reading reading = read_item(group.name.c_str(), field.key);
        TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
        if (row[0] == 0) stamp(call, field.refresh);
        publish(call, row, shown(field, reading.text));
        return call.reply;
    }
    if (call.object.access == READ_ONLY) return set_read_only(call);
    TRACE("SET str=%s\n", call.value);
    if (!is_acceptable(call, field)) return set_refused(call);
    if (field.condition && !field.condition(row, call.value)) return set_refused(call);
    queue_item(group.id, field.key, stored(field, call.value));
    publish_written(call, row, call.value);
    return set_accepted(call);
}

snmp_reply *read_only_scalar(const HandlerCall &call, Refresh refresh, const std::string &value) {
    if (call.kind == KIND_SET) return set_read_only(call);
    stamp(call, refresh);
    publish(call, {0}, value);
    return call.reply;
}

snmp_reply *action_scalar(const HandlerCall &call, bool (*act)()) {
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_GET) {
        stamp(call, CACHED);
        publish(call, {0}, "0");
        return call.reply;
    }
    TRACE("SET str=%s\n", call.value);
    if (!within_bounds(call.object, call.value)) return set_refused(call);
    return atoi(call.value) != 1 || act() ? set_accepted(call) : set_refused(call);
}
