// The radios' facts, from one text file that is read again when it changes.
#include "platform/k480ext.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>

#include "platform/builtin/stations_nl80211.h"
#include "platform/builtin/store.h"
#include "platform/device.h"

static constexpr char CONFIG_FILE[] = "/etc/k480ext.conf";
static constexpr size_t CONFIG_LIMIT = 1U << 20;
static constexpr int RADIOS = 2;
static constexpr int VAPS = 16;

namespace {

struct Radio {
    int offload = 0;
    unsigned capability = 0;
    int txpower_levels = 0;
    int chain_mask = 0;
    std::string enabled_vap;
    std::string ifname[VAPS];
};

struct Station {
    std::string interface;
    sta_entry entry;
};

struct Facts {
    Radio radios[RADIOS];
    std::vector<Station> stations;
};

struct Source {
    std::mutex mutex;
    std::string path;
    struct stat file = {};
    Facts facts;
    std::set<std::string> reported;  // malformed lines
};

}  // namespace

static std::string_view trimmed(std::string_view text) {
    while (!text.empty() && strchr(" \t\r", text.front()) != nullptr) text.remove_prefix(1);
    while (!text.empty() && strchr(" \t\r", text.back()) != nullptr) text.remove_suffix(1);
    return text;
}

static bool read_number(const std::string &text, unsigned long highest, unsigned long *out) {
    char *end = nullptr;
    if (text.empty() || text[0] < '0' || text[0] > '9') return false;
    *out = strtoul(text.c_str(), &end, 0);
    return *end == '\0' && *out <= highest;
}

static bool read_interface(const std::string &text, std::string *out) {
    if (text.empty() || text.size() >= IFNAME_SIZE || text.find_first_of("/ \t") != std::string::npos)
        return false;
    *out = text;
    return true;
}

static bool read_radio_fact(const std::string &name, const std::string &value, Radio *radio) {
    unsigned long number = 0;
    if (name == "enabled_vap") return read_interface(value, &radio->enabled_vap);
    if (!read_number(value, UINT32_MAX, &number)) return false;
    if (name == "capability") {
        radio->capability = static_cast<unsigned>(number);
        return true;
    }
    int *fact = name == "offload"          ? &radio->offload
                : name == "txpower_levels" ? &radio->txpower_levels
                : name == "chain_mask"     ? &radio->chain_mask
                                           : nullptr;
    if (fact == nullptr || number > INT32_MAX) return false;
    *fact = static_cast<int>(number);
    return true;
}

static bool read_station(const std::string &value, Facts *facts) {
    Station station = {};
    char interface[IFNAME_SIZE];
    unsigned mac[6];
    int used = 0;
    sta_entry &entry = station.entry;
    unsigned long long tx = 0;
    unsigned long long rx = 0;
    static_assert(IFNAME_SIZE == 64, "the width below");
    if (sscanf(value.c_str(), "%63s %17s %d %llu %llu %n", interface, entry.mac, &entry.rssi, &tx, &rx,
               &used) != 5 ||
        static_cast<size_t>(used) != value.size())
        return false;
    if (strlen(entry.mac) != 17 || sscanf(entry.mac, "%2x:%2x:%2x:%2x:%2x:%2x", &mac[0], &mac[1], &mac[2],
                                          &mac[3], &mac[4], &mac[5]) != 6)
        return false;
    entry.tx_bytes = tx;
    entry.rx_bytes = rx;
    station.interface = interface;
    facts->stations.push_back(station);
    return true;
}

static bool read_line(const std::string &name, const std::string &value, Facts *facts) {
    if (name == "station") return read_station(value, facts);
    unsigned radio = 0;
    unsigned vap = 0;
    int used = 0;
    if (sscanf(name.c_str(), "vap%u.%u.%n", &radio, &vap, &used) == 2 && used > 0) {
        if (radio < 1 || radio > RADIOS || vap < 1 || vap > VAPS || name.substr(used) != "ifname")
            return false;
        return read_interface(value, &facts->radios[radio - 1].ifname[vap - 1]);
    }
    if (sscanf(name.c_str(), "radio%u.%n", &radio, &used) != 1 || used == 0) return false;
    return radio >= 1 && radio <= RADIOS &&
           read_radio_fact(name.substr(used), value, &facts->radios[radio - 1]);
}

static void read_facts(const std::string &text, Source *from) {
    from->facts = Facts();
    for (size_t start = 0; start < text.size();) {
        size_t end = std::min(text.find('\n', start), text.size());
        std::string_view line = trimmed(std::string_view(text).substr(start, end - start));
        start = end + 1;
        if (line.empty() || line.front() == '#') continue;
        size_t equals = line.find('=');
        bool good = equals != std::string_view::npos &&
                    read_line(std::string(trimmed(line.substr(0, equals))),
                              std::string(trimmed(line.substr(equals + 1))), &from->facts);
        if (!good && from->reported.emplace(line).second)
            fprintf(stderr, "%s: skipped: %.*s\n", CONFIG_FILE, static_cast<int>(line.size()), line.data());
    }
}

// The facts as the file has them now, valid until the next call; the caller holds the mutex.
static const Facts &current_facts(Source *from) {
    std::string path = device_path(CONFIG_FILE);
    struct stat file = {};
    if (stat(path.c_str(), &file) != 0) file = {};
    const struct stat &old = from->file;
    if (path == from->path && file.st_ino == old.st_ino && file.st_size == old.st_size &&
        file.st_mtim.tv_sec == old.st_mtim.tv_sec && file.st_mtim.tv_nsec == old.st_mtim.tv_nsec)
        return from->facts;
    from->path = path;
    from->file = file;
    std::string text;
    read_device_file(CONFIG_FILE, CONFIG_LIMIT, &text);
    read_facts(text, from);
    return from->facts;
}

// Never destroyed: threads may outlive main.
static Source &source() {
    static auto *instance = new Source;
    return *instance;
}

static Radio radio_facts(int index) {
    if (index < 0 || index >= RADIOS) return {};
    std::lock_guard lock(source().mutex);
    return current_facts(&source()).radios[index];
}

int get_ifname_by_idx(int kind, int radio, int vap, char *out) {
    if (kind != IFNAME_VAP || vap < 0 || vap >= VAPS) return 0;
    std::string name = radio_facts(radio).ifname[vap];
    if (name.empty()) return 0;
    copy_text(name, out, IFNAME_SIZE);
    return 1;
}

int rf_is_offload(int radio) {
    return radio_facts(radio).offload;
}

int get_rf_capable_mode(int radio, unsigned *capability) {
    if (radio < 1 || radio > RADIOS) return -1;
    *capability = radio_facts(radio - 1).capability;
    return 0;
}

int get_max_txpwr_level(int radio) {
    return radio_facts(radio - 1).txpower_levels;
}

int get_txchainmask(int radio) {
    return radio_facts(radio).chain_mask;
}

int find_enabled_vap(int radio, char *ifname) {
    Radio facts = radio_facts(radio - 1);
    for (int vap = 0; facts.enabled_vap.empty() && vap < VAPS; vap++) {
        std::string group = "rf" + std::to_string(radio) + "_vap" + std::to_string(vap + 1);
        std::string state;
        if (facts.ifname[vap].empty() || find_item(LAYER_WORKING, group, "state", &state) != 0) continue;
        if (state == "enable") facts.enabled_vap = facts.ifname[vap];
    }
    if (facts.enabled_vap.empty()) return 0;
    copy_text(facts.enabled_vap, ifname, IFNAME_SIZE);
    return 1;
}

static sta_entry *listed_stations(const char *ifname) {
    std::lock_guard lock(source().mutex);
    sta_entry *head = nullptr;
    sta_entry **end = &head;
    for (const Station &station : current_facts(&source()).stations) {
        if (station.interface != ifname) continue;
        auto *entry = static_cast<sta_entry *>(malloc(sizeof(sta_entry)));
        if (entry == nullptr) break;
        *entry = station.entry;
        *end = entry;
        end = &entry->next;
    }
    return head;
}

sta_entry *get_sta_list(const char *ifname) {
    sta_entry *list = listed_stations(ifname);
#ifdef ZEVSIC_NL80211
    if (list == nullptr) list = get_sta_list_nl80211(ifname);
#endif
    return list;
}

void free_sta_list(sta_entry *list) {
    while (list != nullptr) {
        sta_entry *next = list->next;
        free(list);
        list = next;
    }
}
