#include "tests/unit/fake_platform.h"

#include <cstdio>
#include <cstring>

#include "platform/builtin/store.h"

FakePlatform fake;

struct zevcfg_object {
    bool running;
};
struct zevcfg_handle {
    bool running;
};
zevcfg_object config_ram{false};
zevcfg_object current_config{true};

struct cfg_item {
    struct Queued {
        unsigned group_id;
        std::string key, value;
    };
    std::vector<Queued> list;
};

static const char *group_text(unsigned id) {
    const char *name = group_name(id);
    return name ? name : "unknown group";
}

std::vector<std::string> list_texts(const cfg_item *head) {
    std::vector<std::string> texts;
    if (!head) return texts;
    for (const auto &[group_id, key, value] : head->list)
        texts.push_back(group_text(group_id) + (" " + key) + "=" + value);
    return texts;
}

template <typename Map, typename Key>
static int read_from(const Map &map, const Key &key, char *out, size_t size = STORE_TEXT_SIZE) {
    const auto entry = map.find(key);
    if (entry == map.end()) return STORE_NO_SUCH_ITEM;
    out[entry->second.copy(out, size - 1)] = '\0';
    return 0;
}

extern "C" {

zevcfg_handle *init_zevcfg_f(zevcfg_object *object) {
    fake.open_handles++;
    return new zevcfg_handle{object->running};
}
void close_zevcfg(zevcfg_handle *handle) {
    if (handle) fake.open_handles--;
    delete handle;
}

int get_cfg_item_by_str(zevcfg_handle *handle, const char *group, const char *key, char *out) {
    fake.items_read++;
    return read_from(handle->running ? fake.running : fake.working, std::string(group) + " " + key, out);
}
int get_cfg_item(zevcfg_handle *handle, unsigned group_id, const char *key, char *out) {
    return get_cfg_item_by_str(handle, group_text(group_id), key, out);
}

cfg_item *append_cfg_item(cfg_item *head, unsigned group_id, const char *key, const char *value) {
    fake.items_queued++;
    if (!head) head = new cfg_item;
    head->list.push_back({group_id, key, value});
    return head;
}
void free_item_list(cfg_item *head) {
    delete head;
}
int set_cfg_items_snmp(zevcfg_handle *, const cfg_item *head) {
    if (fake.saving_fails) return -1;
    if (!head) return 0;
    for (const auto &[group_id, key, value] : head->list)
        fake.working[group_text(group_id) + (" " + key)] = value;
    return 0;
}
int lock_zevcfg(int, int) {
    return fake.locked ? -1 : 5;
}
void unlock_zevcfg(int) {}
int apply_cfg(zevcfg_handle *) {
    return fake.apply_result;
}
int reset_zevcfg() {
    fake.resets++;
    return 0;
}
int check_apply_need_reboot() {
    return fake.need_reboot;
}
int get_sys_item(const char *name, char *out) {
    return read_from(fake.system_items, std::string(name), out);
}
int get_rc_env(const char *name, char *out, size_t size) {
    return read_from(fake.environment, std::string(name), out, size);
}
cfg_item *check_vap_band_steering(zevcfg_handle *, const char *band_steering, cfg_item *head, int radio,
                                  int vap, const char *ssid, const char *state) {
    fake.steering_calls.push_back(std::string(band_steering) + " " + std::to_string(radio) + " " +
                                  std::to_string(vap) + " " + (ssid ? ssid : "-") + " " +
                                  (state ? state : "-"));
    return head;
}

int get_ifname_by_idx(int kind, int radio, int vap, char *out) {
    if (kind != IFNAME_VAP) return 0;
    return read_from(fake.ifnames, std::pair(radio, vap), out, IFNAME_SIZE) == 0;
}
int rf_is_offload(int radio) {
    return fake.offload[radio];
}
int get_rf_capable_mode(int radio, unsigned *capability) {
    if (radio < 1 || radio > 2) return -1;
    *capability = fake.capability[radio - 1];
    return 0;
}
int get_max_txpwr_level(int radio) {
    return fake.txpower_levels[radio - 1];
}
int get_txchainmask(int radio) {
    return fake.chain_mask[radio];
}
int find_enabled_vap(int radio, char *ifname) {
    return read_from(fake.enabled_vaps, radio, ifname, IFNAME_SIZE) == 0;
}

sta_entry *get_sta_list(const char *ifname) {
    const std::vector<FakeStation> &stations = fake.stations[ifname];
    if (stations.empty()) return nullptr;
    auto *list = new sta_entry[stations.size()]();
    for (size_t i = 0; i < stations.size(); i++) {
        snprintf(list[i].mac, sizeof list[i].mac, "%s", stations[i].mac.c_str());
        list[i].rssi = stations[i].rssi;
        list[i].tx_bytes = stations[i].tx_bytes;
        list[i].rx_bytes = stations[i].rx_bytes;
        if (i > 0) list[i - 1].next = &list[i];
    }
    return list;
}
void free_sta_list(sta_entry *list) {
    delete[] list;
}
}
