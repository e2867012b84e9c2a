// The access points that the device's radios hear: table 6.1.1. A row is a neighbour's MAC address; one
// heard by both radios has the values of radio 2.
#include "handler/live_table.h"
#include "handler/rules.h"
#include "platform/device.h"
#include "platform/k480ext.h"
#include "tree/agent.h"

// A neighbour's line has nine fields, and a tenth when it tells its SSID.
static constexpr size_t FIELDS_WITHOUT_SSID = 9;
static constexpr size_t SSID_FIELD = 10;

// What differs among the columns: the value of a line. Every rebuild runs the tool on each radio.
static snmp_reply *neighbour_column(const HandlerCall &call, std::string (*value)(const ToolLine &line)) {
    if (!begin_rebuild(call)) return call.reply;
    const std::string tool = shell_word(device_path("/sbin/iwlist"));
    int rows = 0;
    for (int radio = 1; radio <= RADIOS; radio++) {
        char ifname[IFNAME_SIZE];
        if (find_enabled_vap(radio, ifname) != 1) continue;
        visit_tool_lines(tool + " " + shell_word(ifname) + " ap", FIELDS_WITHOUT_SSID, &rows,
                         [&](const ToolLine &line) { publish(call, line.row, value(line)); });
    }
    return call.reply;
}

// The rest of a field behind its prefix.
static std::string behind(std::string_view prefix, const std::string &field) {
    return field.starts_with(prefix) && field.size() > prefix.size() ? field.substr(prefix.size()) : "N/A";
}

snmp_reply *neighbour_ssid(const HandlerCall &call) {
    return neighbour_column(call, [](const ToolLine &line) {
        return line.field_count >= SSID_FIELD ? line.field(SSID_FIELD) : "N/A";
    });
}

snmp_reply *neighbour_mac(const HandlerCall &call) {
    return neighbour_column(call, [](const ToolLine &line) {
        const Row &byte = line.row;
        return format("%02X:%02X:%02X:%02X:%02X:%02X", byte[0], byte[1], byte[2], byte[3], byte[4], byte[5]);
    });
}

snmp_reply *neighbour_signal(const HandlerCall &call) {
    return neighbour_column(call, [](const ToolLine &line) { return behind("level=", line.field(4)); });
}

snmp_reply *neighbour_channel(const HandlerCall &call) {
    return neighbour_column(call, [](const ToolLine &line) { return behind("Channel=", line.field(9)); });
}
