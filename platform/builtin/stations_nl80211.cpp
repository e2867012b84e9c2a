#include "platform/builtin/stations_nl80211.h"

#include <cstdio>
#include <cstdlib>

#include "platform/device.h"
#include "platform/nl80211.h"

static constexpr int RSSI_OF_0_DBM = 95;

sta_entry *get_sta_list_nl80211(const char *ifname) {
    sta_entry *head = nullptr;
    sta_entry **end = &head;
    ask_nl80211(Nl80211Question::STATIONS, ifname, [&](nlmsghdr *message) {
        WirelessStation station;
        if (!read_station_message(message, &station) || !station.admitted) return;
        auto *entry = static_cast<sta_entry *>(calloc(1, sizeof(sta_entry)));
        if (entry == nullptr) return;
        snprintf(entry->mac, sizeof entry->mac, "%s", mac_text(station.mac).c_str());
        entry->rssi = station.has_signal ? station.signal + RSSI_OF_0_DBM : 0;
        entry->tx_bytes = station.sent;
        entry->rx_bytes = station.received;
        *end = entry;
        end = &entry->next;
    });
    return head;
}

// ---- system items ----

static constexpr int VAPS = 16;

static std::vector<WirelessInterface> ask_interfaces() {
    std::vector<WirelessInterface> interfaces;
    ask_nl80211(Nl80211Question::INTERFACES, "", [&](nlmsghdr *message) {
        WirelessInterface interface;
        if (read_interface_message(message, &interface)) interfaces.push_back(interface);
    });
    return interfaces;
}

// The VAP (radio and VAP from 0) as the kernel has it.
static bool find_vap(const std::vector<WirelessInterface> &interfaces, int radio, int vap,
                     WirelessInterface *out) {
    char name[IFNAME_SIZE];
    if (get_ifname_by_idx(IFNAME_VAP, radio, vap, name) == 0) return false;
    for (const WirelessInterface &interface : interfaces)
        if (interface.name == name) {
            *out = interface;
            return true;
        }
    return false;
}

static std::string count_stations(const std::string &interface) {
    int count = 0;
    ask_nl80211(Nl80211Question::STATIONS, interface, [&](nlmsghdr *message) {
        WirelessStation station;
        if (read_station_message(message, &station) && station.admitted) count++;
    });
    return std::to_string(count);
}

static bool vap_item(int radio, int vap, std::string_view what, std::string *out) {
    WirelessInterface interface;
    if ((what != "mac" && what != "sta") || !find_vap(ask_interfaces(), radio, vap, &interface)) return false;
    *out = what == "mac" ? mac_text(interface.mac) : count_stations(interface.name);
    return true;
}

// What its VAPs share is read from the first one that is on the air.
static bool radio_item(int radio, std::string_view what, std::string *out) {
    if (what != "mac" && what != "ch" && what != "txpwr_dbm") return false;
    const std::vector<WirelessInterface> interfaces = ask_interfaces();
    for (int vap = 0; vap < VAPS; vap++) {
        WirelessInterface interface;
        if (!find_vap(interfaces, radio, vap, &interface) || interface.frequency == 0) continue;
        if (what == "ch") *out = std::to_string(channel_number(interface.frequency));
        if (what == "txpwr_dbm") *out = std::to_string(interface.power / 100);
        if (what != "mac") return true;
        std::string address;
        read_device_file("/sys/class/net/" + interface.name + "/phy80211/macaddress", 64, &address);
        *out = first_line(address);
        return !out->empty();
    }
    return false;
}

bool radio_item_nl80211(std::string_view name, std::string *out) {
    int radio = 0, vap = 0, length = 0;
    const std::string text(name);
    if (sscanf(text.c_str(), "rf%1d_vap%2d_%n", &radio, &vap, &length) == 2 && length > 0)
        return vap_item(radio - 1, vap - 1, name.substr(length), out);
    length = 0;
    if (sscanf(text.c_str(), "rf%1d_%n", &radio, &length) == 1 && length > 0)
        return radio_item(radio - 1, name.substr(length), out);
    return false;
}
