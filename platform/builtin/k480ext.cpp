// The radios' facts, from one text file that is read again when it changes.
#include "platform/k480ext.h"

#include <sys/stat.h>

#include <cctype>
#include <charconv>
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
    std::set<std::string> malformed;  // lines of the file, reported
};

}  // namespace

static std::string_view trimmed(std::string_view text) {
    while (!text.empty() && strchr(" \t\r", text.front()) != nullptr) text.remove_prefix(1);
    while (!text.empty() && strchr(" \t\r", text.back()) != nullptr) text.remove_suffix(1);
    return text;
}

static bool read_number(std::string_view text, uint64_t highest, uint64_t *out) {
    const int base = text.starts_with("0x") ? 16 : 10;
    if (base == 16) text.remove_prefix(2);
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *out, base);
    return error == std::errc() && stop == end && *out <= highest;
}

static bool read_interface(const std::string &text, std::string *out) {
    if (text.empty() || text.size() >= IFNAME_SIZE || text.find_first_of("/ \t") != std::string::npos)
        return false;
    *out = text;
    return true;
}

static bool read_radio_fact(std::string_view name, const std::string &value, Radio *radio) {
    uint64_t number = 0;
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

// Alone among the numbers it may be below 0: weaker than -95 dBm.
static bool read_rssi(std::string_view text, int32_t *out) {
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    uint64_t number = 0;
    if (!read_number(text, INT32_MAX, &number)) return false;
    *out = static_cast<int32_t>(negative ? -static_cast<int64_t>(number) : static_cast<int64_t>(number));
    return true;
}

static bool is_address(std::string_view text) {
    if (text.size() + 1 != sizeof(sta_entry::mac)) return false;
    for (size_t i = 0; i < text.size(); i++)
        if (i % 3 == 2 ? text[i] != ':' : isxdigit(static_cast<unsigned char>(text[i])) == 0) return false;
    return true;
}

// The next word, which goes; empty when there is none.
static std::string take_word(std::string_view *text) {
    constexpr char BLANKS[] = " \t\n\v\f\r";
    text->remove_prefix(std::min(text->find_first_not_of(BLANKS), text->size()));
    std::string word(text->substr(0, text->find_first_of(BLANKS)));
    text->remove_prefix(word.size());
    return word;
}

static bool read_station(std::string_view value, Facts *facts) {
    std::string words[6];
    for (std::string &word : words) word = take_word(&value);
    const auto &[interface, address, rssi, tx, rx, more] = words;
    Station station = {};
    sta_entry &entry = station.entry;
    if (rx.empty() || !more.empty() || !read_interface(interface, &station.interface) ||
        !is_address(address) || !read_rssi(rssi, &entry.rssi) ||
        !read_number(tx, UINT64_MAX, &entry.tx_bytes) || !read_number(rx, UINT64_MAX, &entry.rx_bytes))
        return false;
    copy_text(address, entry.mac, sizeof entry.mac);
    facts->stations.push_back(std::move(station));
    return true;
}

// Takes the number up to the next dot, and the dot. 0 when it is none of 1 to `highest`.
static size_t take_number(std::string_view *name, size_t highest) {
    const size_t dot = std::min(name->find('.'), name->size());
    uint64_t number = 0;
    if (!read_number(name->substr(0, dot), highest, &number)) return 0;
    name->remove_prefix(std::min(dot + 1, name->size()));
    return number;
}

static bool read_line(std::string_view name, const std::string &value, Facts *facts) {
    if (name == "station") return read_station(value, facts);
    const bool of_vap = name.starts_with("vap");
    if (!of_vap && !name.starts_with("radio")) return false;
    name.remove_prefix(of_vap ? 3 : 5);
    const size_t radio = take_number(&name, RADIOS);
    if (radio == 0) return false;
    if (!of_vap) return read_radio_fact(name, value, &facts->radios[radio - 1]);
    const size_t vap = take_number(&name, VAPS);
    return vap != 0 && name == "ifname" && read_interface(value, &facts->radios[radio - 1].ifname[vap - 1]);
}

static void read_facts(const std::string &text, Source *from) {
    from->facts = Facts();
    std::set<std::string> malformed;
    for (size_t start = 0; start < text.size();) {
        size_t end = std::min(text.find('\n', start), text.size());
        std::string_view line = trimmed(std::string_view(text).substr(start, end - start));
        start = end + 1;
        if (line.empty() || line.front() == '#') continue;
        size_t equals = line.find('=');
        bool good = equals != std::string_view::npos &&
                    read_line(trimmed(line.substr(0, equals)), std::string(trimmed(line.substr(equals + 1))),
                              &from->facts);
        if (good || !malformed.emplace(line).second || from->malformed.contains(std::string(line))) continue;
        fprintf(stderr, "%s: skipped: %.*s\n", CONFIG_FILE, static_cast<int>(line.size()), line.data());
    }
    from->malformed = std::move(malformed);
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
