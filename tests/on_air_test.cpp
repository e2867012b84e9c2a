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

// ---- in force, by tools that keep a record ----

struct InForce : testing::Test {
    InForce() {
        device.said("zevcfg init --demo && zevcfg apply");
        for (const char *radio : {"0", "1"})
            device.write(std::string("/sys/class/ieee80211/phy") + radio + "/macaddress",
                         std::string("02:00:00:00:0") + radio + ":00\n");
        device.write("/etc/zevnet.conf",
                     "radio1 = 02:00:00:00:00:00\nradio2 = 02:00:00:00:01:00\nport0 = eth0\n");
        for (const char *tool : {"nft", "ip", "bridge", "iw", "tc", "hostname", "wpa_cli", "wpa_supplicant"})
            device.write_tool(std::string("/sbin/") + tool, RECORD);
        // What makes an interface or a network makes it, so that all is as on a machine.
        device.write_tool("/sbin/hostapd", std::string(RECORD) + "; : >$ZEVSIC_ROOT/tmp/hostapd-runs");
        device.write_tool(
            "/sbin/hostapd_cli",
            "[ -e $ZEVSIC_ROOT/tmp/hostapd-runs ] || exit 255\n"
            "case $* in\n*PING) echo PONG; exit ;;\n*status) echo state=ENABLED; exit ;;\nesac\n" +
                std::string(RECORD) +
                "\n[ ! -e $ZEVSIC_ROOT/tmp/refuse ] || [ \"${*#*ADD}\" = \"$*\" ] || { /bin/rm "
                "$ZEVSIC_ROOT/tmp/refuse; echo "
                "FAIL; exit; }\necho OK");
        device.write("/sys/class/net/br0/ifindex", "7\n");
    }
    // Applies and returns what the tools did of that kind.
    std::string apply(const std::string &tool = "") {
        std::filesystem::remove(device.path("/tmp/tools"));
        said = device.said("zevnet apply");
        std::string lines;
        std::istringstream all(device.read("/tmp/tools"));
        for (std::string line; std::getline(all, line);)
            if (line.starts_with(tool + " ")) {
                for (size_t at; (at = line.find(device.path(""))) != std::string::npos;)
                    line.replace(at, device.path("").size(), "R");
                lines += line + "\n";
            }
        return lines;
    }
    void set(const std::string &item) {
        ASSERT_EQ(device.said("zevcfg set " + item + " && zevcfg apply"), "");
    }

    static constexpr char RECORD[] = "echo \"${0##*/} $*\" >>$ZEVSIC_ROOT/tmp/tools";
    DeviceRoot device;
    std::string said;
};
constexpr char CONTROL[] = "hostapd_cli -p R/run/zevnet -i global raw ";

TEST_F(InForce, WhatHasNotChangedStays) {
    const std::string first = apply("hostapd_cli"), control = CONTROL;
    EXPECT_EQ(first, control + "REMOVE ath0\n" + control +
                         "ADD bss_config=ath0:R/run/zevnet/next/ath0.conf\n" + control + "REMOVE ath1\n" +
                         control + "ADD bss_config=ath1:R/run/zevnet/next/ath1.conf\n");
    EXPECT_EQ(device.read("/etc/hostname"), "zevsic-demo\n");
    // Keys are root's; what is not done is everybody's.
    const auto mode_of = [&](const char *path) {
        return static_cast<int>(std::filesystem::status(device.path(path)).permissions());
    };
    EXPECT_EQ(mode_of("/run/zevnet"), 0755);
    EXPECT_EQ(mode_of("/run/zevnet/not-done"), 0644);
    EXPECT_EQ(mode_of("/run/zevnet/now"), 0700);
    EXPECT_EQ(mode_of("/run/zevnet/now/ath0.conf"), 0600);
    EXPECT_EQ(apply("hostapd_cli") + apply("bridge") + apply("iw"), "");
    // A key: its network alone. The guests of a radio are in another VLAN: no network at all.
    set("rf1_vap1_sec wpa.passphrase another-passphrase");
    EXPECT_EQ(apply("hostapd_cli"),
              control + "REMOVE ath0ap0\n" + control + "ADD bss_config=ath0:R/run/zevnet/network.conf\n");
    EXPECT_TRUE(has(device.read("/run/zevnet/network.conf"), "interface=ath0ap0\n"));
    set("rf1_vap2 vid 30");
    EXPECT_EQ(apply("hostapd_cli"), "");
    set("rf1_vap2 vid 40");
    const std::string ports = apply("bridge");
    EXPECT_TRUE(
        has(ports, "bridge vlan del dev ath0ap1 vid 30\nbridge vlan add dev ath0ap1 vid 40 pvid untagged\n"));
    // The firewall: nobody. A channel: its radio alone.
    set("bfirewall bfw_entry:1.action ACCEPT");
    EXPECT_EQ(apply("hostapd_cli"), "");
    EXPECT_TRUE(has(device.read("/tmp/tools"), "nft -f "));
    set("rf2 channel 44");
    EXPECT_EQ(apply("hostapd_cli"),
              control + "REMOVE ath1\n" + control + "ADD bss_config=ath1:R/run/zevnet/next/ath1.conf\n");
    set("rf2 state disable");
    EXPECT_EQ(apply("hostapd_cli"), control + "REMOVE ath1\n");
}

TEST_F(InForce, WhatDoesNotComeUpIsPutBack) {
    const std::string control = CONTROL;
    apply();
    set("rf1_vap1 ssid other");
    device.write("/tmp/refuse", "");
    const std::string ways = apply("hostapd_cli");
    EXPECT_TRUE(has(said, "exit 1"));
    EXPECT_TRUE(has(ways, control + "REMOVE ath0ap0\n" + control +
                              "ADD bss_config=ath0:R/run/zevnet/network.conf\n" + control +
                              "REMOVE ath0ap0\n" + control + "ADD"));
    EXPECT_TRUE(has(device.read("/run/zevnet/network.conf"), "ssid=demo-staff\n"));
    EXPECT_TRUE(has(device.read("/run/zevnet/not-done"), "The last apply failed: "));
    // A ruleset that nft does not take changes nothing; the next apply does it all.
    set("bfw_dai Snooping disable");
    device.write_tool("/sbin/nft", std::string(RECORD) + "; exit 1");
    EXPECT_EQ(apply("hostapd_cli"), "");
    EXPECT_TRUE(has(said, "nft does not take the ruleset\nexit 1"));
    device.write_tool("/sbin/nft", RECORD);
    apply();
    EXPECT_FALSE(has(said, "exit"));
    EXPECT_TRUE(has(device.read("/run/zevnet/now/ath0.conf"), "ssid=other\n"));
}

TEST_F(InForce, AKillAtAnyMomentIsMadeGood) {
    apply();
    const std::string control = CONTROL;
    set("rf1_vap1 ssid other");
    // The parent of the shell that runs it.
    device.write_tool("/sbin/bridge", "kill -9 $(/bin/sed -n 's/^PPid:[[:space:]]*//p' /proc/$PPID/status)");
    device.said("zevnet apply");
    device.write_tool("/sbin/bridge", RECORD);
    ASSERT_TRUE(device.has("/run/zevnet/unfinished"));
    EXPECT_TRUE(has(apply("hostapd_cli"), control + "REMOVE ath0\n" + control + "ADD"));
    EXPECT_FALSE(device.has("/run/zevnet/unfinished"));
    EXPECT_EQ(apply("hostapd_cli"), "");
}

// A configuration of which nothing can be made is not put in force, and what was set and cannot be done is
// said.
TEST_F(InForce, ErrorsAndWhatIsNotDoneAreSaid) {
    set("rf1_vap1_sec wpa.passphrase short");
    EXPECT_EQ(apply(), "");
    EXPECT_TRUE(has(said, "VAPPSKCipherKeyValue 1.1: a passphrase has 8 to 63 characters"));
    EXPECT_TRUE(has(said, "exit 1"));
    set("rf1_vap1_sec wpa.passphrase long-enough");
    set("rf1 packet_delay_threshold 200000");
    apply();
    EXPECT_TRUE(has(device.read("/run/zevnet/not-done"), "APRFPacketDelayThreshold 1: "));
    device.start_daemon();
    EXPECT_TRUE(has(device.said("zevctl status"), "APRFPacketDelayThreshold 1: "));
}
}  // namespace
