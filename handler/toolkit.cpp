#include "handler/toolkit.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/files.h"
#include "platform/log.h"
#include "tree/oid.h"
#include "tree/resolve.h"
#include "tree/rows.h"

cfg_item *pending_items = nullptr;

Row requested_row(const char *instance) {
    Row row{};
    ArcReader arcs(instance);
    bool canonical = *instance != '.';
    for (int arc; arcs.next(&arc); row.count++) {
        if (row.count == std::ssize(row.arcs)) return {};
        const std::string_view text = arcs.text();
        canonical = canonical && (text.size() == 1 || text[0] != '0');
        row.arcs[row.count] = arc;
    }
    return canonical || row.count == 1 ? row : Row{};
}

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
    return call.requested.count == row.count &&
           std::equal(row.arcs, row.arcs + row.count, call.requested.arcs);
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
    publish_into(is_requested(call, row) ? call.reply : nullptr, call, row, value);
}

void store_cell(const HandlerCall &call, const Row &row, const std::string &value) {
    publish_into(nullptr, call, row, value);
}

void stamp(const HandlerCall &call) {
    if (call.object.live)
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

bool file_counts(const char *file) {
    const FileOwner owner = file_owner(file);
    if (owner == FileOwner::STRANGER) {
        const bool removed = remove_strangers_file(file);
        const std::string text = std::string(file) + " is a stranger's and does not count: " +
                                 (removed ? "removed" : "cannot be removed");
        log_event(text.c_str(), Severity::ERROR);
    }
    return owner == FileOwner::OURS;
}

std::string format(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char text[TEXT_SIZE];
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::string first_word(const std::string &text) {
    const char *const blanks = " \t\n";
    const size_t begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_first_of(blanks, begin) - begin);
}
