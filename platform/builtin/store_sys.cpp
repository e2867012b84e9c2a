// System items: those set in the store, else what the kernel knows.
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/route.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/builtin/stations_nl80211.h"
#include "platform/builtin/store.h"
#include "platform/device.h"
#include "platform/zevcfg.h"

static constexpr size_t FILE_LIMIT = 65536;

struct DefaultRoute {
    std::string interface;  // empty: there is none
    std::string gateway;
};

// The default route with the lowest metric.
static DefaultRoute default_route() {
    DefaultRoute route;
    std::string table;
    if (!read_device_file("/proc/net/route", FILE_LIMIT, &table)) return route;
    unsigned lowest = 0;
    for (size_t start = 0; start < table.size();) {
        size_t end = std::min(table.find('\n', start), table.size());
        std::string line = table.substr(start, end - start);
        start = end + 1;
        char name[32];
        unsigned destination = 0, gateway = 0, flags = 0, metric = 0, mask = 0;
        if (sscanf(line.c_str(), "%31s %x %x %x %*s %*s %u %x", name, &destination, &gateway, &flags, &metric,
                   &mask) != 6)
            continue;
        if (destination != 0 || mask != 0 || (flags & RTF_UP) == 0) continue;
        if (!route.interface.empty() && metric >= lowest) continue;
        lowest = metric;
        char text[INET_ADDRSTRLEN];
        in_addr address = {gateway};  // the kernel prints the word as it stands in memory
        inet_ntop(AF_INET, &address, text, sizeof text);
        route = {name, text};
    }
    return route;
}

static bool interface_address(const std::string &interface, bool mask, std::string *out) {
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0) return false;
    bool found = false;
    for (ifaddrs *entry = list; entry != nullptr && !found; entry = entry->ifa_next) {
        const sockaddr *address = mask ? entry->ifa_netmask : entry->ifa_addr;
        if (interface != entry->ifa_name || address == nullptr || entry->ifa_addr == nullptr ||
            entry->ifa_addr->sa_family != AF_INET)
            continue;
        sockaddr_in ipv4 = {};
        memcpy(&ipv4, address, sizeof ipv4);
        char text[INET_ADDRSTRLEN];
        found = inet_ntop(AF_INET, &ipv4.sin_addr, text, sizeof text) != nullptr;
        if (found) *out = text;
    }
    freeifaddrs(list);
    return found;
}

static std::string clock_text() {
    time_t now = time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    char text[64];
    strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y", &local);
    return text;
}

static bool kernel_item(std::string_view name, std::string *out) {
    if (name == "date") {
        *out = clock_text();
        return true;
    }
    if (name != "wan_ip" && name != "wan_mask" && name != "wan_mac" && name != "default_gw") return false;
    DefaultRoute route = default_route();
    if (route.interface.empty()) return false;
    if (name == "default_gw") {
        *out = route.gateway;
        return true;
    }
    if (name != "wan_mac") return interface_address(route.interface, name == "wan_mask", out);
    if (!read_device_file("/sys/class/net/" + route.interface + "/address", 64, out)) return false;
    out->resize(std::min(out->find_first_of(" \n"), out->size()));
    return !out->empty();
}

bool system_item(std::string_view name, std::string *out) {
    if (find_item(LAYER_SYSTEM, "", name, out) == 0 || kernel_item(name, out)) return true;
#ifdef ZEVSIC_NL80211
    return radio_item_nl80211(name, out);
#else
    return false;
#endif
}

int get_sys_item(const char *name, char *out) {
    std::string text;
    if (!system_item(name, &text)) return STORE_NO_SUCH_ITEM;
    copy_text(text, out, STORE_TEXT_SIZE);
    return 0;
}
