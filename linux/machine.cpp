#include "linux/machine.h"

#include <net/if.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>

#include "platform/device.h"
#include "platform/nl80211.h"

static constexpr char CONFIGURATION[] = "/etc/zevnet.conf", CARDS[] = "/sys/class/ieee80211";
static constexpr size_t FILE_LIMIT = 1U << 16;

static std::string trimmed(std::string text) {
    const char *blanks = " \t\r";
    text.erase(0, text.find_first_not_of(blanks));
    text.erase(text.find_last_not_of(blanks) + 1);
    return text;
}

static std::map<std::string, std::string> read_names() {
    std::map<std::string, std::string> names;
    std::string text;
    read_device_file(CONFIGURATION, FILE_LIMIT, &text);
    for (size_t begin = 0; begin < text.size();) {
        size_t end = std::min(text.find('\n', begin), text.size());
        std::string line = text.substr(begin, end - begin);
        line.erase(std::min(line.find('#'), line.size()));
        const size_t sign = line.find('=');
        if (sign != std::string::npos) names[trimmed(line.substr(0, sign))] = trimmed(line.substr(sign + 1));
        begin = end + 1;
    }
    return names;
}

static std::string file_text(const std::string &path) {
    std::string text;
    read_device_file(path, FILE_LIMIT, &text);
    return first_line(text);
}

// What the card can do on the band of that radio.
static void read_abilities(const std::vector<WirelessRadio> &known, int r, Card *card) {
    const WirelessBand band = r == 1 ? BAND_2GHZ : BAND_5GHZ;
    for (const WirelessRadio &radio : known) {
        if (radio.name != card->phy || radio.bands[band].channels.empty()) continue;
        card->ht = radio.bands[band].ht;
        card->vht = radio.bands[band].vht;
        card->power_dbm = highest_power(radio, band);
    }
}

static std::vector<Card> read_cards() {
    std::vector<Card> cards;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(device_path(CARDS), error)) {
        Card card;
        card.phy = entry.path().filename();
        card.mac = file_text(std::string(CARDS) + "/" + card.phy + "/macaddress");
        cards.push_back(card);
    }
    std::sort(cards.begin(), cards.end(), [](const Card &a, const Card &b) {
        return a.phy.size() != b.phy.size() ? a.phy.size() < b.phy.size() : a.phy < b.phy;
    });
    return cards;
}

static bool is_interface_name(const std::string &text) {
    return !text.empty() && text.size() < IFNAMSIZ &&
           std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return isalnum(c) != 0 || c == '.' || c == '-' || c == '_'; });
}

Machine read_machine() {
    Machine machine;
    const auto names = read_names();
    std::vector<Card> cards = read_cards();
    for (int r = 1; r <= RADIOS; r++) {
        const auto name = names.find("radio" + std::to_string(r));
        if (name == names.end()) {
            if (names.empty() && r <= static_cast<int>(cards.size())) machine.cards[r - 1] = cards[r - 1];
            continue;
        }
        for (const Card &card : cards)
            if (card.mac == name->second) machine.cards[r - 1] = card;
        if (machine.cards[r - 1].phy.empty()) machine.lacks_card = true;
    }
    std::vector<WirelessRadio> known;
    ask_nl80211(Nl80211Question::WIPHYS, "", [&](nlmsghdr *message) { read_radio_message(message, &known); });
    for (int r = 1; r <= RADIOS; r++) read_abilities(known, r, &machine.cards[r - 1]);
    for (int i = 0; i < LAN_PORTS; i++) {
        const auto port = names.find("port" + std::to_string(i));
        const bool is_named = port != names.end() && is_interface_name(port->second);
        machine.ports.push_back(is_named ? port->second : "");
        if (is_named && machine.bridge_mac.empty())
            machine.bridge_mac = file_text("/sys/class/net/" + port->second + "/address");
    }
    machine.has_networkd = device_file_exists("/lib/systemd/systemd-networkd");
    machine.has_timesyncd = device_file_exists("/lib/systemd/systemd-timesyncd");
    machine.has_rsyslog = device_file_exists("/etc/rsyslog.conf");
    return machine;
}

std::string radio_interface(int radio) {
    return "ath" + std::to_string(radio - 1);
}

std::string vap_interface(int radio, int vap) {
    return radio_interface(radio) + "ap" + std::to_string(vap - 1);
}

std::string link_interface(int radio, int link) {
    return radio_interface(radio) + "wds" + std::to_string(link - 1);
}
