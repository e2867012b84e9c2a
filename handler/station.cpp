// The stations associated with any VAP of the device: table 5.1.1. A row is a station's MAC address; a
// station seen on several VAPs has the values of the last one.
#include <cstdlib>
#include <cstring>

#include "handler/live_table.h"
#include "handler/live_vaps.h"
#include "handler/rules.h"
#include "handler/value.h"
#include "platform/device.h"
#include "tree/agent.h"

// Calls `visit(vap, ifname)`, and ends early at a VAP whose interface has no name, and when it returns false.
template <typename Visit>
static void for_each_station_vap(Visit visit) {
    for_each_live_vap([&](const LiveVap &vap) {
        char ifname[IFNAME_SIZE];
        if (vap.read_ifname(ifname)) return static_cast<bool>(visit(vap, ifname));
        TRACE("Can't get interface name for RF=%d,VAP=%d\n", vap.radio, vap.vap);
        return false;
    });
}

static void publish_station(const HandlerCall &call, const Row &row, const std::string &value) {
    if (trace_on()) {
        const std::string index = format("%d.%d.%d.%d.%d.%d", row[0], row[1], row[2], row[3], row[4], row[5]);
        TRACE("request oid=%s roid=%s cmp=%d\n", call.instance, index.c_str(),
              strcmp(call.instance, index.c_str()));
        if (index == call.instance) TRACE_LOCATION("handler", call.object.name);
    }
    publish(call, row, value);
}

// ---- columns from the station lists ----

// False at a station without an address: the column ends there. One whose address cannot be a row has none.
template <typename Value>
static bool publish_stations(const HandlerCall &call, const sta_entry *station, Value value) {
    Row row{};
    for (; station; station = station->next) {
        const AddressText address = read_address(station->mac, &row);
        if (address == AddressText::NONE) return false;
        if (address == AddressText::ROW) publish_station(call, row, value(*station));
    }
    return true;
}

// What differs among the columns: the value of a station.
static snmp_reply *station_column(const HandlerCall &call, std::string (*value)(const sta_entry &station)) {
    if (!begin_rebuild(call)) return call.reply;
    for_each_station_vap([&](const LiveVap &, const char *ifname) {
        sta_entry *list = get_sta_list(ifname);
        const bool complete = publish_stations(call, list, value);
        free_sta_list(list);
        return complete;
    });
    return call.reply;
}

// The same when all stations of a VAP share a value.
static snmp_reply *vap_column(const HandlerCall &call, std::string (*value)(const LiveVap &vap)) {
    if (!begin_rebuild(call)) return call.reply;
    for_each_station_vap([&](const LiveVap &vap, const char *ifname) {
        sta_entry *list = get_sta_list(ifname);
        const std::string shared = value(vap);
        const bool complete =
            publish_stations(call, list, [&](const sta_entry &) -> const std::string & { return shared; });
        free_sta_list(list);
        return complete;
    });
    return call.reply;
}

static std::string vap_item(const LiveVap &vap, const char *key) {
    const Reading reading = read_item(format("rf%d_vap%d", vap.radio, vap.vap).c_str(), key);
    TRACE("ans= %s from ZEVCFG ret=%d.\n", reading.text.c_str(), reading.result);
    return reading.text;
}

static int64_t signal_dbm(const sta_entry &station) {
    return int64_t{station.rssi} - 95;
}

// Counters show their low 32 bits.
static std::string low_word(uint64_t counter) {
    return std::to_string(static_cast<uint32_t>(counter));
}

snmp_reply *station_mac(const HandlerCall &call) {
    return station_column(call, [](const sta_entry &station) { return std::string(station.mac); });
}

snmp_reply *station_ssid(const HandlerCall &call) {
    return vap_column(call, [](const LiveVap &vap) { return vap_item(vap, "ssid"); });
}

snmp_reply *station_vlan(const HandlerCall &call) {
    return vap_column(call, [](const LiveVap &vap) {
        const std::string text = vap_item(vap, "vid");
        const long id = strtol(text.c_str(), nullptr, 10);
        return id >= 1 && id <= 4094 ? text : std::string(NO_VLAN);
    });
}

snmp_reply *station_bytes_sent(const HandlerCall &call) {
    return station_column(call, [](const sta_entry &station) { return low_word(station.tx_bytes); });
}

snmp_reply *station_bytes_received(const HandlerCall &call) {
    return station_column(call, [](const sta_entry &station) { return low_word(station.rx_bytes); });
}

snmp_reply *station_signal(const HandlerCall &call) {
    return station_column(call, [](const sta_entry &station) { return std::to_string(signal_dbm(station)); });
}

snmp_reply *station_snr(const HandlerCall &call) {
    return station_column(call, [](const sta_entry &station) {
        const float percents = static_cast<float>(signal_dbm(station)) / -95.0F * 100.0F;
        return std::to_string(static_cast<int64_t>(percents));
    });
}

snmp_reply *station_band(const HandlerCall &call) {
    return vap_column(call, [](const LiveVap &vap) {
        return std::string(zevap->rf_channel[vap.radio - 1] < 15 ? "1" : "2");
    });
}

// ---- columns from the radio tool ----

static constexpr size_t TOOL_FIELDS = 13;  // of a station's line; shorter ones are none
static constexpr size_t SHOWN_LENGTH = 31;

static snmp_reply *tool_column(const HandlerCall &call, size_t field) {
    if (!begin_rebuild(call)) return call.reply;
    int rows = 0;
    for_each_station_vap([&](const LiveVap &, const char *ifname) {
        visit_tool_lines("wlanconfig " + shell_word(ifname) + " list sta", TOOL_FIELDS, &rows,
                         [&](const ToolLine &line) {
                             publish_station(call, line.row, line.field(field).substr(0, SHOWN_LENGTH));
                         });
        return true;
    });
    return call.reply;
}

snmp_reply *station_connection_time(const HandlerCall &call) {
    return tool_column(call, 12);
}
snmp_reply *station_rate(const HandlerCall &call) {
    return tool_column(call, 3);
}
