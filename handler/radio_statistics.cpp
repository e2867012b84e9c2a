// The live columns of the radios, 2.1.1.45 to 2.1.1.50, and the interfaces that ARP inspection trusts,
// 2.1.1.52.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "handler/counters.h"
#include "handler/radio.h"
#include "platform/device.h"
#include "platform/k480ext.h"

std::string first_word(const std::string &text) {
    const char *const blanks = " \t\n";
    const size_t begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_first_of(blanks, begin) - begin);
}

OBJECT(APRFNumOfStation) {
    return read_only_column(call, RADIO, LIVE, [](const Row &row) {
        int64_t stations = 0;
        for (int vap = 1; vap <= VAPS; vap++) {
            const agent_vap &state = zevap->vap[row[0] - 1][vap - 1];
            if (state.enabled != 1 || state.ifindex <= 0) continue;
            stations += atoi(read_system_item(format("rf%d_vap%d_sta", row[0], vap).c_str()).text.c_str());
        }
        return std::to_string(stations);
    });
}

// The counters of a radio's live VAPs together. False when one of them has no name.
static bool radio_octets(int radio, bool received, uint64_t *octets) {
    *octets = 0;
    for (int vap = 0; vap < VAPS; vap++) {
        if (zevap->vap[radio][vap].ifindex <= 0) continue;
        char ifname[IFNAME_SIZE] = "";
        if (!get_ifname_by_idx(IFNAME_VAP, radio, vap, ifname)) {
            TRACE("Can't get interface name for VAP=%d\n", radio);
            return false;
        }
        *octets += strtoull(interface_octets(ifname, received).c_str(), nullptr, 10);
    }
    return true;
}

// Ends early at a VAP without a name: the rows from there on keep what they hold.
static snmp_reply *octets_column(const HandlerCall &call, bool received) {
    if (call.kind == KIND_SET) return set_read_only(call);
    stamp(call, LIVE);
    for (int radio = 1; radio <= RADIOS; radio++) {
        uint64_t octets = 0;
        if (!radio_octets(radio - 1, received, &octets)) break;
        publish(call, {radio}, std::to_string(octets));
    }
    return call.reply;
}

OBJECT(APRFInOctets) {
    return octets_column(call, true);
}
OBJECT(APRFOutOctets) {
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

OBJECT(APRFCCI) {
    return radio_read_only(
        call, LIVE, [](int radio) { return std::to_string(statistic_number(radio, "rx_frame_rate")); });
}

// Busy time that is neither received nor sent here.
OBJECT(APRFACI) {
    return radio_read_only(call, LIVE, [](int radio) {
        const int64_t busy = statistic_number(radio, "rx_clear_rate");
        const int64_t received = statistic_number(radio, "rx_frame_rate");
        const int64_t sent = statistic_number(radio, "tx_frame_rate");
        return std::to_string(std::max<int64_t>(busy - received - sent, 0));
    });
}

OBJECT(APRFWDI) {
    return radio_read_only(call, LIVE, [](int radio) { return statistic(radio, "rx_clear_rate"); });
}

// One character per VAP, or no text at all.
static bool is_vap_mask(char *value) {
    return value[strspn(value, "01")] == '\0';
}

OBJECT(APRL2FirewallTrustInterface) {
    static constexpr Table TRUST = radio_table(
        [](const Row &) -> Group {
            return {"bfw_dai", GID_BFW_DAI};
        },
        "SET str=%s\n");
    return radio_column(call, TRUST,
                        {.key = "trust_interface.entry:%I.vap",
                         .check = is_vap_mask,
                         .trace = "ans= %s from ZEVCFG ret=%e.\n"});
}
