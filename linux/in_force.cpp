#include "linux/in_force.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <set>

#include "linux/hostapd.h"
#include "linux/plan.h"
#include "linux/run.h"
#include "platform/device.h"

using Commands = std::vector<std::string>;

static constexpr int PATIENCE_MS = 10000, PAUSE_MS = 200;
static constexpr char END_OF_NAME[] = ".conf";

// ---- texts ----

static Commands lines_of(const std::string &text) {
    Commands lines;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

std::string Texts::file(const std::string &name) const {
    const auto entry = files.find(name);
    return entry == files.end() ? "" : entry->second;
}

static std::string stem(const std::string &name) {
    return name.ends_with(END_OF_NAME) && name.find('/') == std::string::npos
               ? name.substr(0, name.size() - (sizeof END_OF_NAME - 1))
               : "";
}

static bool is_caller(const std::string &name) {
    return name.find("wds") != std::string::npos;
}

std::vector<std::string> Texts::radios() const {
    std::vector<std::string> names;
    for (const auto &[name, text] : files)
        if (const std::string radio = stem(name); !radio.empty() && !is_caller(radio)) names.push_back(radio);
    return names;
}

std::vector<std::string> Texts::callers(const std::string &radio) const {
    std::vector<std::string> names;
    for (const auto &[name, text] : files)
        if (const std::string link = stem(name); is_caller(link) && link.starts_with(radio))
            names.push_back(link);
    return names;
}

static constexpr char BSS[] = "\nbss=";

std::string Texts::radio_text(const std::string &radio) const {
    const std::string text = file(radio + END_OF_NAME);
    return text.substr(0, text.find(BSS));
}

std::map<std::string, std::string> Texts::networks(const std::string &radio) const {
    std::map<std::string, std::string> networks;
    const std::string text = file(radio + END_OF_NAME);
    for (size_t at = text.find(BSS); at != std::string::npos;) {
        const size_t begin = at + sizeof BSS - 1, next = text.find(BSS, begin), line = text.find('\n', begin);
        networks[text.substr(begin, line - begin)] =
            text.substr(line + 1, std::min(next, text.size()) - line - 1);
        at = next;
    }
    return networks;
}

std::vector<std::string> Texts::commands(const std::string &name) const {
    Commands commands;
    bool is_inside = false;
    for (const std::string &line : lines_of(file("commands")))
        if (line.starts_with("# "))
            is_inside = line.substr(2) == name;
        else if (is_inside)
            commands.push_back(line);
    return commands;
}

// ---- commands ----

static bool has_interface(const std::string &name) {
    return device_file_exists("/sys/class/net/" + name);
}

static std::string word_behind(const std::string &command, const std::string &words) {
    const size_t at = command.find(" " + words + " ");
    if (at == std::string::npos) return "";
    const size_t begin = at + words.size() + 2;
    return command.substr(begin, command.find(' ', begin) - begin);
}

// What takes back a command of the bridge: a VLAN of a port, a port, an interface of a VLAN.
static std::string undoing(const std::string &command) {
    if (command.starts_with("bridge vlan add "))
        return "bridge vlan del dev " + word_behind(command, "dev") + " vid " + word_behind(command, "vid") +
               (command.ends_with(" self") ? " self" : "");
    if (!word_behind(command, "master").empty())
        return "ip link set dev " + word_behind(command, "dev") + " nomaster";
    if (command.starts_with("ip link add ")) return "ip link del dev " + word_behind(command, "name");
    if (command.starts_with("tc qdisc replace "))
        return "tc qdisc del dev " + word_behind(command, "dev") +
               (command.ends_with(" clsact") ? " clsact" : " root");
    return "";
}

static void follow(const Commands &commands, std::vector<std::string> *refused) {
    for (const std::string &command : commands) {
        // What makes an interface is for one that is not there.
        const std::string made = command.find(" interface add ") != std::string::npos
                                     ? word_behind(command, "interface add")
                                 : command.starts_with("ip link add ") ? word_behind(command, "name")
                                                                       : "";
        if (!made.empty() && has_interface(made)) continue;
        // Not every card can set what it has anyway.
        const bool asks_nothing = command.ends_with(" coverage 0") || command.ends_with(" auto");
        if (!run_tool(command + " >/dev/null") && !asks_nothing && refused)
            refused->push_back("refused: " + command);
    }
}

// First what is no more, so that nothing is in two VLANs.
static void change(const Commands &to, const Commands &from, std::vector<std::string> *refused) {
    if (to == from) return;
    for (auto command = from.rbegin(); command != from.rend(); ++command)
        if (std::find(to.begin(), to.end(), *command) == to.end())
            if (const std::string undo = undoing(*command); !undo.empty())
                run_tool(undo + " >/dev/null 2>&1");
    follow(to, refused);
}

static void put_bridge(const Texts &to, const Texts &from, std::vector<std::string> *refused) {
    const bool is_new = !has_interface(BRIDGE);
    if (is_new)
        run_tool(std::string("ip link add name ") + BRIDGE +
                 " type bridge vlan_filtering 1 vlan_default_pvid 0");
    const Commands commands = to.commands(BRIDGE);
    if (!from.is_sure) {  // any VLAN may be there
        std::set<std::string> ports;
        for (const std::string &command : commands)
            if (command.starts_with("bridge vlan add "))
                ports.insert(word_behind(command, "dev") + " vid 2-4094" +
                             (command.ends_with(" self") ? " self" : ""));
        for (const std::string &port : ports) run_tool("bridge vlan del dev " + port + " >/dev/null 2>&1");
    }
    change(commands, is_new || !from.is_sure ? Commands() : from.commands(BRIDGE), refused);
}

// ---- radios and networks ----

// A network's file for an addition to its radio: the radio's lines count for what the network may have.
static bool write_network(const Texts &texts, const std::string &radio, const std::string &name,
                          std::string *file) {
    *file = std::string(STATE) + "/network.conf";
    std::string text;
    static constexpr const char *OF_ITSELF[] = {
        "interface=", "ssid=", "start_disabled=", "send_probe_response=", "ctrl_interface="};
    for (const std::string &line : lines_of(texts.radio_text(radio)))
        if (std::none_of(std::begin(OF_ITSELF), std::end(OF_ITSELF),
                         [&](const char *option) { return line.starts_with(option); }))
            text += line + "\n";
    return write_whole(*file, "interface=" + name + "\n" + text + texts.networks(radio).at(name));
}

static std::string caller_control(const std::string &name) {
    return "wpa_cli -p " + shell_word(device_path("/run/wpa_supplicant")) + " -i " + name;
}

static void stop_caller(const std::string &name) {
    run_tool(caller_control(name) + " terminate >/dev/null 2>&1");
    run_tool("iw dev " + name + " del >/dev/null 2>&1");
}

static void start_caller(const Texts &texts, const std::string &name, std::vector<std::string> *refused) {
    follow(texts.commands(name), refused);
    const std::string control = shell_word(device_path("/run/wpa_supplicant"));
    if (!run_tool("wpa_supplicant -B -D nl80211 -i " + name + " -b " + BRIDGE + " -C " + control + " -c " +
                  shell_word(device_path(texts.folder + "/" + name + END_OF_NAME)) + " >/dev/null"))
        refused->push_back("refused: wpa_supplicant on " + name);
}

static void stop_radio(const Texts &from, const std::string &radio) {
    for (const std::string &caller : from.callers(radio)) stop_caller(caller);
    remove_from_hostapd(radio);
}

struct Changes {
    std::set<std::string> radios, networks;  // that are new, or begin anew
};

static bool put_radio(const Texts &to, const Texts &from, const std::string &radio, Changes *changes,
                      std::string *why) {
    const bool is_same =
        from.is_sure && to.radio_text(radio) == from.radio_text(radio) && !state_of(radio).empty();
    const auto wanted = to.networks(radio), there = from.networks(radio);
    if (!is_same) {
        stop_radio(from, radio);
        follow(to.commands(radio), nullptr);
        changes->radios.insert(radio);
        for (const auto &[name, text] : wanted) changes->networks.insert(name);
        if (add_to_hostapd(radio, to.folder + "/" + radio + END_OF_NAME)) return true;
        *why = "hostapd does not take " + radio + ": its log says why";
        return false;
    }
    for (const auto &[name, text] : there)
        if (const auto other = wanted.find(name); other == wanted.end() || other->second != text)
            remove_from_hostapd(name);
    for (const auto &[name, text] : wanted) {
        const auto other = there.find(name);
        if (other != there.end() && other->second == text && !state_of(name).empty()) continue;
        std::string file;
        changes->networks.insert(name);
        if (write_network(to, radio, name, &file) && add_to_hostapd(radio, file)) continue;
        *why = "hostapd does not take " + name + ": its log says why";
        return false;
    }
    return true;
}

// A radio that looks for its channel, or listens whether radar is there, is on its way.
static bool is_up(const std::string &name) {
    const std::string state = state_of(name);
    return state == "ENABLED" || state == "ACS" || state == "DFS";
}

static bool await(const Texts &to, const Changes &changes, std::string *why) {
    for (int waited = 0;; waited += PAUSE_MS) {
        std::string missing;
        for (const std::string &radio : to.radios())
            for (const auto &[name, text] : to.networks(radio))
                if (changes.networks.contains(name) && !is_up(name)) missing = name;
        for (const std::string &radio : changes.radios)
            if (!is_up(radio)) missing = radio;
        if (missing.empty()) return true;
        if (waited >= PATIENCE_MS) {
            *why = missing + " did not come up within 10 s: hostapd's log says why";
            return false;
        }
        usleep(PAUSE_MS * 1000);
    }
}

static Commands files_of(const Texts &texts) {
    Commands files;
    for (const std::string &radio : texts.radios()) files.push_back(texts.folder + "/" + radio + END_OF_NAME);
    return files;
}

static bool put_radios(const Texts &to, const Texts &from, std::string *why,
                       std::vector<std::string> *refused) {
    const auto wanted = to.radios(), there = from.radios();
    if (wanted.empty() && there.empty() && from.is_sure) return true;
    if (!have_hostapd(files_of(from))) {
        *why = "hostapd does not start";
        return wanted.empty();
    }
    Changes changes;
    for (int r = 1; r <= RADIOS; r++)
        if (const std::string radio = radio_interface(r);
            std::find(wanted.begin(), wanted.end(), radio) == wanted.end())
            if (!from.is_sure || std::find(there.begin(), there.end(), radio) != there.end())
                stop_radio(from, radio);
    for (const std::string &radio : wanted)
        if (!put_radio(to, from, radio, &changes, why)) return false;
    if (!await(to, changes, why)) return false;
    for (const std::string &radio : wanted) {
        for (const auto &[name, text] : to.networks(radio))
            change(to.commands(name), changes.networks.contains(name) ? Commands() : from.commands(name),
                   refused);
        const bool is_new = changes.radios.contains(radio);
        const Commands on_air = to.commands(radio + ON_AIR);
        if (is_new || !changes.networks.empty() || on_air != from.commands(radio + ON_AIR))
            follow(on_air, refused);
        const auto calling = to.callers(radio);
        for (const std::string &name : from.callers(radio))
            if (std::find(calling.begin(), calling.end(), name) == calling.end()) stop_caller(name);
        for (const std::string &name : calling) {
            const bool is_same = !is_new && to.file(name + END_OF_NAME) == from.file(name + END_OF_NAME) &&
                                 to.commands(name) == from.commands(name);
            if (is_same) continue;
            stop_caller(name);
            start_caller(to, name, refused);
        }
    }
    return true;
}

// ---- the system's files ----

static constexpr char FILES[] = "files";

static void put_file(const Texts &to, const std::string &name, std::vector<std::string> *refused) {
    const std::string path = name.substr(sizeof FILES - 1), text = to.file(name);
    std::error_code error;
    if (path == "/etc/localtime") {  // a link; what it names is of the system, whatever the root
        const std::filesystem::path link = device_path(path), fresh = link.string() + ".new";
        if (std::filesystem::read_symlink(link, error) == text) return;
        std::filesystem::create_directories(link.parent_path(), error);
        std::filesystem::remove(fresh, error);
        std::filesystem::create_symlink(text, fresh, error);
        std::filesystem::rename(fresh, link, error);
        if (error) refused->push_back("not written: " + path);
        return;
    }
    std::string there;
    if (read_device_file(path, 1U << 16, &there) && there == text) return;
    if (!write_whole(path, text, true)) {
        refused->push_back("not written: " + path);
        return;
    }
    const Commands commands = to.commands(path);
    follow(commands, refused);
}

bool put_in_force(const Texts &to, const Texts &from, std::string *why, std::vector<std::string> *refused) {
    const bool has_ruleset = from.is_sure && to.file("firewall.nft") == from.file("firewall.nft");
    const std::string ruleset = shell_word(device_path(to.folder + "/firewall.nft"));
    if (!has_ruleset && !run_tool("nft -f " + ruleset)) {
        *why = "nft does not take the ruleset";
        return false;
    }
    put_bridge(to, from, refused);
    if (!put_radios(to, from, why, refused)) return false;
    for (const auto &[name, text] : to.files)
        if (name.starts_with(FILES) && name[sizeof FILES - 1] == '/') put_file(to, name, refused);
    return true;
}

void restore_ports(const Texts &texts) {
    std::string why;
    Changes all;
    for (const std::string &radio : texts.radios()) {
        all.radios.insert(radio);
        for (const auto &[name, text] : texts.networks(radio)) all.networks.insert(name);
    }
    await(texts, all, &why);
    for (const std::string &radio : texts.radios()) {
        for (const auto &[name, text] : texts.networks(radio)) follow(texts.commands(name), nullptr);
        follow(texts.commands(radio + ON_AIR), nullptr);
    }
}

void make_radio_interfaces(const Texts &texts) {
    for (const std::string &radio : texts.radios()) follow(texts.commands(radio), nullptr);
}

// As a wired port that carries all VLANs is.
void make_trunk(const Texts &texts, const std::string &interface) {
    for (std::string command : texts.commands(TRUNK)) {
        command.replace(command.find(" IF "), 4, " " + interface + " ");
        follow({command}, nullptr);
    }
}
