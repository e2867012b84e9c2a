// The live columns of the radios, 2.1.1.45 to 2.1.1.50.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "handler/counters.h"
#include "handler/live_vaps.h"
#include "handler/radio.h"
#include "platform/device.h"

snmp_reply *radio_stations(const HandlerCall &call) {
    if (call.kind == KIND_SET) return set_read_only(call);
    stamp(call);
    for (int radio = 1; radio <= RADIOS; radio++) {
        int64_t stations = 0;
        for_each_live_vap(radio, radio, [&](const LiveVap &vap) {
            const std::string item = format("rf%d_vap%d_sta", radio, vap.vap);
            if (vap.state.enabled == 1) stations += atoi(read_system_item(item.c_str()).text.c_str());
            return true;
        });
        publish(call, {radio}, std::to_string(stations));
    }
    return call.reply;
}

// The counters of a radio's live VAPs together. False when one of them has no name.
static bool radio_octets(int radio, bool received, uint64_t *octets) {
    *octets = 0;
    return for_each_live_vap(radio, radio, [&](const LiveVap &vap) {
        char ifname[IFNAME_SIZE] = "";
        if (!vap.read_ifname(ifname)) {
            TRACE("Can't get interface name for VAP=%d\n", radio - 1);
            return false;
        }
        *octets += strtoull(interface_octets(ifname, received).c_str(), nullptr, 10);
        return true;
    });
}

// Ends early at a VAP without a name: the rows from there on keep what they hold.
static snmp_reply *octets_column(const HandlerCall &call, bool received) {
    if (call.kind == KIND_SET) return set_read_only(call);
    stamp(call);
    for (int radio = 1; radio <= RADIOS; radio++) {
        uint64_t octets = 0;
        if (!radio_octets(radio, received, &octets)) break;
        publish(call, {radio}, std::to_string(octets));
    }
    return call.reply;
}

snmp_reply *radio_octets_received(const HandlerCall &call) {
    return octets_column(call, true);
}
snmp_reply *radio_octets_sent(const HandlerCall &call) {
    return octets_column(call, false);
}

// A figure of the radio's channel from the statistics tool; "0" when the tool prints none.
static std::string statistic(int radio, const char *name) {
    constexpr size_t READ_LIMIT = 64;
    const CommandOutput output = read_command(format(
        "%s -i wifi%d | grep -w \"%s\"", shell_word(device_path("/sbin/athstats")).c_str(), radio - 1, name));
    std::string word = first_word(output.text.substr(0, READ_LIMIT));
    if (word.empty()) return "0";
    TRACE("pch=%s\n", word.c_str());
    return word;
}
static int statistic_number(int radio, const char *name) {
    return atoi(statistic(radio, name).c_str());
}

snmp_reply *cochannel_interference(const HandlerCall &call) {
    return read_only_radios(
        call, [](int radio) { return std::to_string(statistic_number(radio, "rx_frame_rate")); });
}

// Busy time that is neither received nor sent here.
snmp_reply *adjacent_channel_interference(const HandlerCall &call) {
    return read_only_radios(call, [](int radio) {
        const int64_t busy = statistic_number(radio, "rx_clear_rate");
        const int64_t received = statistic_number(radio, "rx_frame_rate");
        const int64_t sent = statistic_number(radio, "tx_frame_rate");
        return std::to_string(std::max<int64_t>(busy - received - sent, 0));
    });
}

snmp_reply *channel_use(const HandlerCall &call) {
    return read_only_radios(call, [](int radio) { return statistic(radio, "rx_clear_rate"); });
}
