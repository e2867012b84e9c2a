// What the configuration becomes on Linux: the texts, what the real tools say of them, and the way they are
// put in force, by tools that only keep a record.
#include <gtest/gtest.h>

#include "linux/answers.h"
#include "tests/device_root.h"

namespace {

using Items = std::map<std::string, std::string>;  // "GROUP KEY"

Items read_items(const std::string &file) {
    Items items;
    std::istringstream lines(read_file(ZEVSIC_SOURCE_DIR "/tests/on_air/" + file));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string group, key, value;
        if (words >> group >> key && group[0] != '#') {
            std::getline(words >> std::ws, value);
            items[group + " " + key] = value;
        }
    }
    return items;
}

// Two radios with all that hostapd has a word for, a port, and all services.
Machine full_machine() {
    Machine machine;
    for (int r = 0; r < RADIOS; r++)
        machine.cards[r] = {"phy" + std::to_string(r), "02:00:00:00:0" + std::to_string(r) + ":00", 0x11ff,
                            0xff, 20};
    machine.ports = {"eth0", "eth1"};
    machine.bridge_mac = "02:00:00:00:ee:00";
    machine.has_networkd = machine.has_timesyncd = machine.has_rsyslog = true;
    return machine;
}

struct OnAir : testing::Test {
    void init(const std::string &how = "init") {
        ASSERT_EQ(device.said("zevcfg " + how + " && zevcfg apply"), "");
        store = running_configuration();
        ASSERT_TRUE(store);
    }
    // The store's configuration, once read, with other items in front.
    Lookup with(const Items &items) {
        return [this, items](const std::string &group, const std::string &key, std::string *text) {
            const std::string name = group + " " + key;
            auto item = items.find(name);
            if (item == items.end()) {
                item = read.find(name);
                if (item == read.end()) item = read.emplace(name, store(group, key, text) ? *text : "").first;
            }
            *text = item->second;
            return true;
        };
    }
    static std::string text_of(const Plan &plan) {
        std::string all;
        for (const std::string &error : plan.errors) all += "ERROR " + error + "\n";
        for (const auto &[name, text] : texts_of(plan)) all += "==== " + name + "\n" + text + "\n";
        return all;
    }
    // What the system's own programs say of a plan's texts, in a network namespace of their own; empty:
    // nothing against them.
    std::string refusals(const Plan &plan) const {
        for (const RadioPlan &radio : plan.radios) {
            std::string text = hostapd_text(radio);
            for (size_t at; (at = text.find("driver=nl80211")) != std::string::npos;)
                text.replace(at, 14, "driver=none");
            device.write("/" + radio.interface + ".conf", text);
        }
        device.write("/firewall.nft", plan.firewall);
        return device.said(
            "cd $ZEVSIC_ROOT; PATH=$PATH:/usr/sbin:/sbin; "
            "sed -i '/^ctrl_interface/d; /^bridge=/d; /^wds_bridge/d' ath*.conf; "
            "unshare -rn timeout 2 hostapd ath*.conf 2>&1 | grep -E '^Line|errors? found|Invalid|required'; "
            "unshare -rn nft -c -f firewall.nft");
    }

    DeviceRoot device;
    Lookup store;
    Items read;
};

bool has_programs() {
    return system(
               "PATH=$PATH:/usr/sbin:/sbin; command -v hostapd >/dev/null && command -v nft >/dev/null && "
               "unshare -rn nft list ruleset >/dev/null 2>&1") == 0;
}

TEST_F(OnAir, TextsAreThoseOfTheFilesAndAccepted) {
    const struct {
        const char *init;
        std::string name;
        Items items;
    } configurations[] = {{"init --demo", "demo", {}}, {"init", "everything", read_items("everything.conf")}};
    for (const auto &[how, name, items] : configurations) {
        std::filesystem::remove_all(device.path("/var/lib/zevcfg"));
        read.clear();
        init(how);
        const Plan plan = make_plan(with(items), full_machine());
        expect_file(device, ZEVSIC_SOURCE_DIR "/tests/on_air/" + name + ".txt", text_of(plan));
        if (has_programs()) {
            EXPECT_EQ(refusals(plan), "") << name;
        }
    }
    if (!has_programs()) GTEST_SKIP() << "hostapd or nft is not installed, or there is no namespace for them";
}

// ---- every setting ----

// Other stored texts than the one there, by what the registry says of the object.
std::vector<std::string> others(const Object &object, const std::string &stored) {
    std::vector<std::string> texts;
    for (const Word &word : object.words)
        if (word.stored) texts.emplace_back(word.stored);
    if (texts.empty())
        for (const Word &word : object.words) texts.push_back(std::to_string(word.value));
    const Range &number = object.numbers[0].is_set() ? object.numbers[0] : object.range[0];
    if (texts.empty() && (object.type == INTEGER || object.numbers[0].is_set()))
        for (const int i : {number.low, number.low + 1, number.high}) texts.push_back(std::to_string(i));
    for (const char *text :
         {"192.0.2.99", "02:00:00:00:00:99", "other.example.org", "2001:db8::99", "Other", "1111", "11",
          "111111", "https://other.example.org/", "0000000000000001", "52525252525252525252525252525252",
          "00ff", "eeeee", "another-passphrase", "mcs3", "TCP", "DNS", "ath1ap2", "America/Santiago"})
        texts.emplace_back(text);
    std::erase(texts, stored);
    return texts;
}

std::vector<Place> places_of(const Object &object) {
    std::vector<Place> places = {{}};
    const Table *table = table_of(object);
    if (!table) return places;
    places.clear();
    if (table->arcs[0].letter != 'r') {
        for (int k = 1; k <= 6; k++) places.push_back({.k = k});
        return places;
    }
    for (int r = 1; r <= 2; r++)
        for (int v = 1; v <= 5; v++) places.push_back({r, v, 1, 1});
    return places;
}

TEST_F(OnAir, EverySettingDoesWhatItsAnswerSays) {
    init();
    const Items items = read_items("everything.conf");
    const Machine machine = full_machine();
    const Plan plan = make_plan(with(items), machine);
    const std::string before = text_of(plan);
    const std::string manual = read_file(ZEVSIC_SOURCE_DIR "/packaging/man/zevnet.8");
    // Several items are an object: those that one of them changes.
    const std::map<std::string, std::vector<std::string>> KEYS = {
        {"APRFBand", {"mode"}},
        {"APRFTxPowerConfig", {"txpwr_customized_lv"}},
        {"APRFBeaconInterval", {"beacon"}},
        {"VAPPSKCipherSuite", {"wpa.version", "wpa.enc"}},
        {"APWDSLinkSecurityType", {"wpa.enabled", "wep.enabled"}},
        {"L2FirewallRuleInterfaceSelected", {"bfw_entry:%k.sInterface", "bfw_entry:%k.dInterface"}}};
    for (const Object &object : OBJECTS) {
        if (object.is_branch() || !is_setting(object)) continue;
        const Answer *answer = answer_of(object.name);
        if (!answer) {
            ADD_FAILURE() << object.name << " has no answer";
            continue;
        }
        EXPECT_TRUE(has(manual, std::string("\n") + object.name + "\t" + answer->what));
        if (answer->by == By::ZEVSIC) continue;
        if (answer->by == By::NOBODY) {
            EXPECT_TRUE(has(texts_of(plan).at("not-done"),
                            std::string(object.name) + (table_of(object) ? " " : ":")));
            continue;
        }
        const auto several = KEYS.find(object.name);
        const std::vector<std::string> keys =
            several != KEYS.end() ? several->second : std::vector<std::string>{object.key};
        const Table *table = table_of(object);
        const char *group = object.group ? object.group : table->group;
        const auto is_used_somewhere = [&](const std::string &key, const char *in) {
            const auto places = places_of(object);
            return std::any_of(places.begin(), places.end(), [&](const Place &place) {
                return items.contains(filled(in, place) + " " + filled(key.c_str(), place));
            });
        };
        bool changes = false;
        for (const Place &place : places_of(object))
            for (const std::string &key : keys) {
                const std::string item = filled(group, place) + " " + filled(key.c_str(), place);
                std::string stored;
                if (!items.contains(item) && is_used_somewhere(key, group)) continue;
                with(items)(filled(group, place), filled(key.c_str(), place), &stored);
                for (const std::string &text : others(object, stored)) {
                    Items changed = items;
                    changed[item] = text;
                    changes = changes || text_of(make_plan(with(changed), machine)) != before;
                    if (changes) break;
                }
                if (changes) break;
            }
        EXPECT_TRUE(changes) << object.name << " changes nothing";
    }
}
}  // namespace
