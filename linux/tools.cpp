// The radio tools in the forms that zevsic reads. What the kernel does not say is "-".
#include "linux/tools.h"

#include <fcntl.h>
#include <linux/nl80211.h>
#include <net/if.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <set>

#include "linux/survey.h"
#include "platform/device.h"
#include "platform/nl80211.h"

static constexpr int RSSI_OF_0_DBM = 95;

static bool find_interface(const std::string &name, WirelessInterface *out) {
    bool found = false;
    ask_nl80211(Nl80211Question::INTERFACES, "", [&](nlmsghdr *message) {
        WirelessInterface interface;
        if (!read_interface_message(message, &interface) || interface.name != name) return;
        *out = interface;
        found = true;
    });
    return found;
}

static int fail(const char *tool, const std::string &why) {
    fprintf(stderr, "%s: %s\n", tool, why.c_str());
    return 1;
}

// ---- wlanconfig INTERFACE list sta ----

static const char *mode_of(const WirelessStation &station, uint32_t frequency) {
    const bool high = frequency >= 5000;
    switch (std::max(station.sent_rate.kind, station.received_rate.kind)) {
        case RateKind::HE:
            return high ? "11AXA" : "11AXG";
        case RateKind::VHT:
            return "11AC";
        case RateKind::HT:
            return high ? "11NA" : "11NG";
        case RateKind::LEGACY:
            break;
    }
    return high ? "11A" : "11G";
}

// "58M", "5.5M"; "-" before the first frame.
static std::string rate_text(const Rate &rate) {
    if (rate.tenths == 0) return "-";
    const std::string whole = std::to_string(rate.tenths / 10);
    return rate.tenths % 10 == 0 ? whole + "M" : whole + "." + std::to_string(rate.tenths % 10) + "M";
}

static std::string flags_text(uint32_t flags) {
    static constexpr struct {
        int flag;
        char letter;
    } LETTERS[] = {{NL80211_STA_FLAG_AUTHORIZED, 'A'},
                   {NL80211_STA_FLAG_WME, 'Q'},
                   {NL80211_STA_FLAG_SHORT_PREAMBLE, 'S'},
                   {NL80211_STA_FLAG_MFP, 'M'}};
    std::string text;
    for (const auto &[flag, letter] : LETTERS)
        if ((flags >> flag & 1) != 0) text += letter;
    return text.empty() ? "-" : text;
}

static int list_stations(int count, char **words) {
    if (count != 3 || strcmp(words[1], "list") != 0 || strcmp(words[2], "sta") != 0) {
        fputs("usage: wlanconfig INTERFACE list sta\n", stderr);
        return 2;
    }
    const std::string name = words[0];
    WirelessInterface interface;
    if (!find_interface(name, &interface)) return fail("wlanconfig", name + ": no such interface");
    puts("ADDR AID CHAN TXRATE RXRATE RSSI IDLE TXSEQ RXSEQ CAPS ACAPS ERP ASSOCTIME MODE");
    const bool whole = ask_nl80211(Nl80211Question::STATIONS, name, [&](nlmsghdr *message) {
        WirelessStation station;
        if (!read_station_message(message, &station) || !station.admitted) return;
        const uint32_t s = station.connected_s;
        printf("%s - %d %s %s %d %u - - %s - - %02u:%02u:%02u %s\n", mac_text(station.mac).c_str(),
               channel_number(interface.frequency), rate_text(station.sent_rate).c_str(),
               rate_text(station.received_rate).c_str(),
               station.has_signal ? station.signal + RSSI_OF_0_DBM : 0, station.idle_ms / 1000,
               flags_text(station.flags).c_str(), s / 3600, s / 60 % 60, s % 60,
               mode_of(station, interface.frequency));
    });
    return whole ? 0 : fail("wlanconfig", name + ": the kernel does not list its stations");
}

// ---- iwlist INTERFACE ap ----

// How long results are good for: the kernel itself forgets what it has not heard for 30 s.
static constexpr time_t FRESH_S = 25;
// zevsic gives the tools of a request 10 s, for both radios.
static constexpr int SCAN_LIMIT_MS = 4000;

// The channels of the interface's band that the country allows.
static std::vector<uint32_t> frequencies_beside(const WirelessInterface &interface) {
    std::vector<WirelessRadio> radios;
    ask_nl80211(Nl80211Question::WIPHYS, "",
                [&](nlmsghdr *message) { read_radio_message(message, &radios); });
    std::vector<uint32_t> frequencies;
    for (const WirelessRadio &radio : radios) {
        if (radio.index != interface.radio) continue;
        for (const WirelessChannel &channel :
             radio.bands[interface.frequency < 5000 ? BAND_2GHZ : BAND_5GHZ].channels)
            if (!channel.disabled) frequencies.push_back(channel.frequency);
    }
    return frequencies;
}

// Scans unless that was done a moment ago. One that fails leaves the results that there are.
static void scan_when_due(const WirelessInterface &interface) {
    const std::string marker = device_path("/run/zevnet/scan-" + std::to_string(interface.radio));
    mkdir(device_path("/run/zevnet").c_str(), 0755);
    const int file = open(marker.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (file < 0) return;
    struct stat state = {};
    // Who finds another one scanning has its results next time.
    if (flock(file, LOCK_EX | LOCK_NB) == 0 && fstat(file, &state) == 0) {
        const time_t age = time(nullptr) - state.st_mtime;
        if (state.st_size == 0 || age < 0 || age >= FRESH_S) {
            scan_nl80211(interface.name, frequencies_beside(interface), SCAN_LIMIT_MS);
            if (ftruncate(file, 0) != 0 || pwrite(file, "1\n", 2, 0) != 2)
                fail("iwlist", "cannot write " + marker);
        }
    }
    close(file);
}

// One word of printable characters whatever an SSID holds: no neighbour writes lines of its own.
static std::string ssid_word(const std::string &ssid) {
    std::string word;
    for (const char c : ssid) {
        char escaped[8];
        snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
        if (c > ' ' && c < 0x7f && c != '\\')
            word += c;
        else
            word += escaped;
    }
    return word;
}

static int list_neighbours(int count, char **words) {
    if (count != 2 || (strcmp(words[1], "ap") != 0 && strcmp(words[1], "accesspoints") != 0)) {
        fputs("usage: iwlist INTERFACE ap\n", stderr);
        return 2;
    }
    const std::string name = words[0];
    WirelessInterface interface;
    if (!find_interface(name, &interface)) return fail("iwlist", name + ": no such interface");
    std::set<MacAddress> own;  // the other BSSs of the device are no neighbours
    ask_nl80211(Nl80211Question::INTERFACES, "", [&](nlmsghdr *message) {
        WirelessInterface other;
        if (read_interface_message(message, &other)) own.insert(other.mac);
    });
    scan_when_due(interface);
    printf("%s Peers/Access-Points in range:\n", name.c_str());
    const bool whole = ask_nl80211(Nl80211Question::NEIGHBOURS, name, [&](nlmsghdr *message) {
        Neighbour neighbour;
        if (!read_neighbour_message(message, &neighbour) || own.contains(neighbour.mac)) return;
        const int signal = neighbour.has_signal ? neighbour.signal : -RSSI_OF_0_DBM;
        printf("%s : Quality=%d/94 Signal level=%d Noise level=-%d dBm Mode=Master Channel=%d %s\n",
               mac_text(neighbour.mac).c_str(), std::clamp(signal + RSSI_OF_0_DBM, 0, 94), signal,
               RSSI_OF_0_DBM, channel_number(neighbour.frequency), ssid_word(neighbour.ssid).c_str());
    });
    return whole ? 0 : fail("iwlist", name + ": the kernel has no scan results of it");
}

// ---- athstats -i wifiN ----

static int print_statistics(int count, char **words) {
    if (count != 2 || strcmp(words[0], "-i") != 0 ||
        (strcmp(words[1], "wifi0") != 0 && strcmp(words[1], "wifi1") != 0)) {
        fputs("usage: athstats -i wifi0|wifi1\n", stderr);
        return 2;
    }
    const int radio = words[1][4] - '0';
    ChannelUse use;
    std::string why;
    if (!read_channel_use(radio, &use, &why)) return fail("athstats", words[1] + (": " + why));
    printf("%d rx_clear_rate\n%d rx_frame_rate\n%d tx_frame_rate\n", use.busy, use.receiving, use.sending);
    return 0;
}

// ---- ifconfig INTERFACE ----

static bool read_statistic(const std::string &interface, const char *name, uint64_t *out) {
    std::string text;
    if (interface.empty() || interface.find('/') != std::string::npos ||
        !read_device_file("/sys/class/net/" + interface + "/statistics/" + name, 64, &text))
        return false;
    *out = strtoull(text.c_str(), nullptr, 10);
    return true;
}

static int print_counters(int count, char **words) {
    if (count != 1 || words[0][0] == '-') {
        fputs(
            "usage: ifconfig INTERFACE\nThis one only tells zevsic an interface's counters. Everything else: "
            "ip(8)\n",
            stderr);
        return 2;
    }
    const std::string name = words[0];
    uint64_t received = 0, sent = 0;
    if (!read_statistic(name, "rx_bytes", &received) || !read_statistic(name, "tx_bytes", &sent))
        return fail("ifconfig", name + ": no such interface");
    constexpr double MEBIBYTE = 1 << 20;
    printf("%s      Link encap:Ethernet\n", name.c_str());
    printf("          RX bytes:%ju (%.1f MiB)  TX bytes:%ju (%.1f MiB)\n", static_cast<uintmax_t>(received),
           static_cast<double>(received) / MEBIBYTE, static_cast<uintmax_t>(sent),
           static_cast<double>(sent) / MEBIBYTE);
    return 0;
}

static constexpr struct {
    const char *name;
    int (*run)(int count, char **words);
} TOOLS[] = {{"wlanconfig", list_stations},
             {"iwlist", list_neighbours},
             {"athstats", print_statistics},
             {"ifconfig", print_counters}};

static const char *base_name(const char *program) {
    const char *slash = strrchr(program, '/');
    return slash != nullptr ? slash + 1 : program;
}

bool is_tool(const char *program) {
    return std::ranges::any_of(TOOLS,
                               [&](const auto &tool) { return strcmp(tool.name, base_name(program)) == 0; });
}

int run_tool(const char *program, int count, char **words) {
    for (const auto &[name, run] : TOOLS) {
        if (strcmp(name, base_name(program)) != 0) continue;
        const int status = run(count, words);
        return fflush(stdout) == 0 ? status : fail(name, "cannot write the output");
    }
    return 2;
}
