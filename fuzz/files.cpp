// Files that people write: the first byte says which. k: k480ext.conf, i: lines of zevcfg import, s:
// settings.
#include <cstring>

#include "fuzz/fuzz.h"
#include "platform/builtin/item_text.h"
#include "platform/k480ext.h"
#include "zevctl/settings.h"

static Reach named("a name of an interface"), station_listed("a station"), imported("an imported line"),
    loaded("a setting");

static void read_facts(const FuzzRoot &root, std::string_view text) {
    // Another size: the file is seen to have changed.
    static size_t count = 0;
    root.write("/etc/k480ext.conf", std::string(text) + "\n" + std::string(count++ % 64, '#') + "\n");
    char name[IFNAME_SIZE];
    unsigned capability = 0;
    for (const int radio : {1, 2}) {
        get_rf_capable_mode(radio, &capability);
        expect(rf_is_offload(radio - 1) >= 0 && get_max_txpwr_level(radio) >= 0, "no negative fact");
        find_enabled_vap(radio, name);
        for (int vap = 0; vap < 16; vap++)
            if (get_ifname_by_idx(IFNAME_VAP, radio - 1, vap, name))
                named.times++, expect(*name && !strchr(name, '/'), "a name of an interface", name);
    }
    sta_entry *list = get_sta_list("ath0ap0");
    for (const sta_entry *station = list; station; station = station->next)
        station_listed.times++, expect(strlen(station->mac) == 17, "an address", station->mac);
    free_sta_list(list);
}

static void read_import(std::string_view text) {
    while (!text.empty()) {
        StoreItem item, again;
        if (!read_item_line(take(&text, '\n'), &item)) continue;
        imported.times++;
        const std::string line = item_line(item);
        expect(read_item_line(line, &again) && again.group == item.group && again.key == item.key &&
                   again.value == item.value,
               "an exported line is imported", line);
    }
}

static void read_settings_text(const FuzzRoot &root, std::string_view text) {
    root.write("/settings", text);
    const SettingsFile file = read_settings_file(root.path + "/settings");
    for (const auto &[place, value] : file.settings) {
        loaded.times++;
        const Object &object = object_of(place);
        expect(value_mistake(object, value).empty(), "a value that was taken", value);
        const Target target = parse_instance(place_name(place));
        expect(target.object == &object && place_of(target) == place, "a name", place_name(place));
        std::string error;
        const std::string again = read_file_value(object, file_value(object, value), &error);
        expect(error.empty() && again == value, "an exported value is loaded", value + " / " + again);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const FuzzRoot root;
    static const bool silent = freopen("/dev/null", "w", stdout) != nullptr;
    const std::string_view text(reinterpret_cast<const char *>(data) + (size > 0), size - (size > 0));
    if (size == 0 || !silent) return 0;
    if (data[0] == 'k') read_facts(root, text);
    if (data[0] == 'i') read_import(text);
    if (data[0] == 's') read_settings_text(root, text);
    return 0;
}
