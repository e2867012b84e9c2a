#include "linux/radios.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstdio>

#include "platform/device.h"

static constexpr char FACTS_FILE[] = "/etc/k480ext.conf", MACHINE_FILE[] = "/etc/zevnet.conf";
static constexpr char FIRST_LINE[] = "# Written by zevnet radios: run it again when cards were changed.\n";
static constexpr size_t FILE_LIMIT = 1U << 20;
static constexpr int MOST_CHAINS = 3;  // that the rates of zevsic know

static constexpr WirelessBand BAND_OF_RADIO[RADIOS] = {BAND_2GHZ, BAND_5GHZ};

static bool fits(const WirelessRadio &radio, int number) {
    return radio.access_point && !radio.bands[BAND_OF_RADIO[number]].channels.empty();
}

// How well a radio does as that number; −1: not at all.
static int fitness(const FoundRadio &radio, int number, const std::string (&kept)[RADIOS]) {
    if (!fits(radio.facts, number)) return -1;
    const auto is = [&](const std::string &text) {
        return !text.empty() && (radio.mac == text || radio.facts.name == text);
    };
    // A card with one band does not stand in for two.
    const bool other_band = !radio.facts.bands[BAND_OF_RADIO[1 - number]].channels.empty();
    return (is(kept[number]) ? 4 : 1) + (other_band ? 0 : 1);
}

RadioChoice choose_radios(const std::vector<FoundRadio> &found, const std::string (&kept)[RADIOS]) {
    RadioChoice best;
    int best_fitness = 0;
    const int count = static_cast<int>(found.size());
    for (int first = -1; first < count; first++) {
        for (int second = -1; second < count; second++) {
            const int one = first < 0 ? 0 : fitness(found[first], 0, kept);
            const int two = second < 0 ? 0 : fitness(found[second], 1, kept);
            if (one < 0 || two < 0 || (first == second && first >= 0)) continue;
            // Two radios before one, whatever they are.
            const int all = one + two + (first >= 0 && second >= 0 ? 100 : 0);
            if (all <= best_fitness) continue;
            best = {{first, second}};
            best_fitness = all;
        }
    }
    return best;
}

static int vaps_of(const WirelessRadio &radio) {
    return static_cast<int>(std::min(radio.most_access_points, unsigned{VAPS}));
}

static unsigned chain_mask(const WirelessRadio &radio, WirelessBand band) {
    const int chains =
        radio.transmit_antennas != 0 ? std::popcount(radio.transmit_antennas) : radio.bands[band].streams;
    return (1U << std::min(chains, MOST_CHAINS)) - 1;
}

static std::string bands_text(const WirelessRadio &radio) {
    std::string text = radio.bands[BAND_2GHZ].channels.empty() ? "" : "2.4";
    if (!radio.bands[BAND_5GHZ].channels.empty()) text += text.empty() ? "5" : " and 5";
    return text;
}

std::string radio_facts_text(const std::vector<FoundRadio> &found, const RadioChoice &choice) {
    std::string text = FIRST_LINE;
    for (int number = 0; number < RADIOS; number++) {
        if (choice.radio[number] < 0) continue;
        const auto &[radio, mac] = found[choice.radio[number]];
        const WirelessBand band = BAND_OF_RADIO[number];
        const std::string one = std::to_string(number + 1);
        text += "\n# " + mac + ", " + bands_text(radio) + " GHz; a step of its power is 1 dB\n";
        text += "radio" + one + ".offload = 0\n";
        text += "radio" + one +
                ".capability = " + (band == BAND_5GHZ && radio.bands[band].vht != 0 ? "0x20" : "0") + "\n";
        text += "radio" + one + ".txpower_levels = " + std::to_string(highest_power(radio, band)) + "\n";
        text += "radio" + one + ".chain_mask = " + std::to_string(chain_mask(radio, band)) + "\n";
        for (int vap = 1; vap <= vaps_of(radio); vap++)
            text += "vap" + one + "." + std::to_string(vap) + ".ifname = " + vap_interface(number + 1, vap) +
                    "\n";
    }
    return text;
}

std::string machine_text(const std::string &old, const std::vector<FoundRadio> &found,
                         const RadioChoice &choice, const std::string &port) {
    std::string kept, text;
    for (size_t begin = 0; begin < old.size();) {
        const size_t end = std::min(old.find('\n', begin), old.size());
        const std::string line = old.substr(begin, end - begin);
        begin = end + 1;
        const std::string name = line.substr(0, line.find_first_of(" \t="));
        if (name != "radio1" && name != "radio2" && (port.empty() || name != "port0")) kept += line + "\n";
    }
    for (int number = 0; number < RADIOS; number++)
        if (choice.radio[number] >= 0)
            text += "radio" + std::to_string(number + 1) + " = " + found[choice.radio[number]].mac + "\n";
    return kept + text + (port.empty() ? "" : "port0 = " + port + "\n");
}

static int fail(const std::string &why) {
    fprintf(stderr, "zevnet: %s\n", why.c_str());
    return 1;
}

// Whole or not at all.
static bool replace_file(const char *name, const std::string &text) {
    const std::string path = device_path(name);
    const std::string next = path + ".new";
    FILE *file = fopen(next.c_str(), "we");
    if (file == nullptr) return false;
    const bool written = fputs(text.c_str(), file) >= 0 && fflush(file) == 0 && fsync(fileno(file)) == 0;
    return fclose(file) == 0 && written && rename(next.c_str(), path.c_str()) == 0;
}

// What somebody else wrote is kept beside it.
static bool replace_facts(const std::string &old, const std::string &text) {
    const std::string path = device_path(FACTS_FILE);
    if (!old.empty() && !old.starts_with(FIRST_LINE) && rename(path.c_str(), (path + ".old").c_str()) != 0)
        return false;
    return replace_file(FACTS_FILE, text);
}

static std::vector<FoundRadio> ask_radios() {
    std::vector<WirelessRadio> radios;
    ask_nl80211(Nl80211Question::WIPHYS, "",
                [&](nlmsghdr *message) { read_radio_message(message, &radios); });
    std::vector<FoundRadio> found;
    for (WirelessRadio &radio : radios) {
        std::string mac;
        read_device_file("/sys/class/ieee80211/" + radio.name + "/macaddress", 64, &mac);
        found.push_back({std::move(radio), first_line(mac)});
    }
    std::ranges::sort(found, {}, [](const FoundRadio &radio) { return radio.facts.index; });
    return found;
}

static void print_radio(int number, const FoundRadio &radio) {
    printf("radio %d: %s, %s, %s GHz, %d VAPs\n", number + 1, radio.facts.name.c_str(), radio.mac.c_str(),
           number == 0 ? "2.4" : "5", vaps_of(radio.facts));
}

int find_radios(const RadioWishes &wishes) {
    const std::vector<FoundRadio> found = ask_radios();
    if (found.empty()) return fail("no wireless radio: is the card's driver loaded?");
    if (!wishes.port.empty() && !device_file_exists("/sys/class/net/" + wishes.port + "/ifindex"))
        return fail(wishes.port + ": no such interface");
    std::string facts, machine, kept[RADIOS];
    read_device_file(FACTS_FILE, FILE_LIMIT, &facts);
    read_device_file(MACHINE_FILE, FILE_LIMIT, &machine);
    const Machine known = read_machine();
    for (int number = 0; number < RADIOS; number++)
        kept[number] = wishes.radio[number].empty() ? known.cards[number].mac : wishes.radio[number];
    const RadioChoice choice = choose_radios(found, kept);
    for (int number = 0; number < RADIOS; number++) {
        const int index = choice.radio[number];
        const std::string &wish = wishes.radio[number];
        if (!wish.empty() && (index < 0 || found[index].facts.name != wish))
            return fail(wish + " cannot be radio " + std::to_string(number + 1));
        if (index >= 0) print_radio(number, found[index]);
    }
    if (std::ranges::all_of(choice.radio, [](int index) { return index < 0; }))
        return fail("none of the radios can be an access point");
    const std::string new_facts = radio_facts_text(found, choice);
    const std::string new_machine = machine_text(machine, found, choice, wishes.port);
    if (new_facts != facts && !replace_facts(facts, new_facts))
        return fail("cannot write " + device_path(FACTS_FILE));
    if (new_machine != machine && !replace_file(MACHINE_FILE, new_machine))
        return fail("cannot write " + device_path(MACHINE_FILE));
    return 0;
}
