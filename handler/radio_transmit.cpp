// How a radio sends: rate, power, acknowledge time-out and beacons, objects 2.1.1.12 to 2.1.1.16.
#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "handler/radio.h"
#include "platform/k480ext.h"

// The rates by their number: automatic, the legacy rates, the 802.11n MCS, and the 802.11ac rates as maps of
// two bits per spatial stream for one, two and three streams (MCS 0 to 7, 8 or 9 each).
static constexpr const char *RATES[] = {
    "auto",                                                                  //
    "1M",    "2M",    "5.5M",  "11M",   "6M",    "9M",    "12M",   "18M",    //
    "24M",   "36M",   "48M",   "54M",                                        //
    "mcs0",  "mcs1",  "mcs2",  "mcs3",  "mcs4",  "mcs5",  "mcs6",  "mcs7",   //
    "mcs8",  "mcs9",  "mcs10", "mcs11", "mcs12", "mcs13", "mcs14", "mcs15",  //
    "mcs16", "mcs17", "mcs18", "mcs19", "mcs20", "mcs21", "mcs22", "mcs23",  //
    "65532", "65533", "65534", "65520", "65525", "65530", "65472", "65493", "65514"};
constexpr int RATE_AUTO = 0, FIRST_11N = 13, FIRST_11AC = 37;
constexpr int MCS_PER_CHAIN = 8, MAPS_PER_CHAIN = 3;

static std::string rate_number(const std::string &stored) {
    const auto place = std::find(std::begin(RATES), std::end(RATES), stored);
    return place == std::end(RATES) ? "-1" : std::to_string(place - std::begin(RATES));
}

static int transmit_chains(int radio) {
    int chains = 0;
    for (int64_t n = int64_t{get_txchainmask(radio - 1)} + 1; n > 1; n /= 2) chains++;
    return chains;
}

static bool may_have_rate(const HandlerCall &call, const Row &row) {
    const int rate = atoi(call.value);
    if (rate == RATE_AUTO) return true;
    if (read_row(call, row, "state") == "disable") return false;
    const int chains = transmit_chains(row[0]);
    return rate < FIRST_11AC ? rate < FIRST_11N + MCS_PER_CHAIN * chains
                             : rate < FIRST_11AC + MAPS_PER_CHAIN * chains;
}

snmp_reply *transmit_rate(const HandlerCall &call) {
    return ordinary(call, {.condition = may_have_rate,
                           .show = rate_number,
                           .store = [](const char *value) -> std::string { return RATES[atoi(value)]; }});
}

// Transmit power is a level: steps below full power, which is level 0. Radios of the older form have the key
// "txpwr" in its place: 17 for full power, 4 less for each three levels.
constexpr int FULL_POWER = 17;

static int clamped_power(int power) {
    return power < 1 || power > 16 ? FULL_POWER : power;
}
static int level_of_power(int power) {
    return (FULL_POWER - clamped_power(power)) / 4 * 3;
}
static int lowest_power_level(int radio) {
    return std::max(get_max_txpwr_level(radio), 1) - 1;
}

// Optional items: the group may be without the key.
static bool has_item(const HandlerCall &call, const Row &row, const char *key) {
    return read_item(group_id(call, row), key).result != STORE_NO_SUCH_ITEM;
}

static std::string power_number(const HandlerCall &call, const Row &row) {
    const std::string group = group_name(call, row);
    Reading reading = read_item(group.c_str(), "txpwr_customized_lv");
    int64_t level = atoi(reading.text.c_str());
    if (reading.result == STORE_NO_SUCH_ITEM) {
        reading = read_item(group.c_str(), "txpwr");
        const bool found = reading.result != STORE_NO_SUCH_ITEM;
        level = std::min<int64_t>(level_of_power(found ? atoi(reading.text.c_str()) : FULL_POWER),
                                  lowest_power_level(row[0]));
    }
    TRACE(" Get txpwr:%s from ZEVCFG.\n", reading.text.c_str());
    return std::to_string(level + 1);
}

snmp_reply *transmit_power(const HandlerCall &call) {
    if (call.kind == KIND_GET) return get_rows(call, [&](const Row &row) { return power_number(call, row); });
    Row row{};
    const bool is_row = parse_row(call, &row);
    int64_t level = int64_t{atoi(call.value)} - 1;
    TRACE("SET str=%s,index:%d,set_val:%lld, get_max_txpwr_level:%d\n", call.value, call.index,
          static_cast<long long>(level), is_row ? get_max_txpwr_level(row[0]) : 0);
    if (!is_row || !within_range(call.object, call.value)) return set_refused(call);
    if (level > lowest_power_level(row[0])) {
        level = lowest_power_level(row[0]);
        TRACE("set_val is too large,change set_val to %lld\n", static_cast<long long>(level));
    }
    if (has_item(call, row, "txpwr_customized_lv")) {
        queue_row(call, row, "txpwr_customized_lv", std::to_string(level));
    } else {
        const int power = clamped_power(FULL_POWER - static_cast<int>(level) / 3 * 4);
        level = level_of_power(power);
        if (has_item(call, row, "txpwr")) queue_row(call, row, "txpwr", std::to_string(power));
    }
    store_cell(call, row, std::to_string(level + 1));
    return set_accepted(call);
}

snmp_reply *current_power(const HandlerCall &call) {
    return ordinary(call, {.show = [](const std::string &stored) -> std::string {
                        const std::string word = first_word(stored);
                        return word.empty() ? "N/A" : word;
                    }});
}

// The beacon interval is the radio's, or each of its VAPs' where the radio has none.
static std::string current_interval(int radio) {
    Reading reading = read_item(format("rf%d", radio).c_str(), "beacon");
    if (reading.result != 0) reading = read_item(format("rf%d_vap1", radio).c_str(), "beacon");
    TRACE(" Get rf%d beacon interval:%s from ZEVCFG.\n", radio, reading.text.c_str());
    return reading.text;
}

// Each enabled VAP sends beacons of its own: many need a longer interval.
static std::string lengthened_interval(int radio, const char *value) {
    int enabled = 0;
    for (int vap = 1; vap <= VAPS; vap++)
        if (read_item(format("rf%d_vap%d", radio, vap).c_str(), "state").text == "enable") enabled++;
    const int interval = atoi(value);
    if (enabled >= 9 && interval < 500) return "500";
    if (enabled >= 5 && interval < 250) return "250";
    return value;
}

snmp_reply *beacon_interval(const HandlerCall &call) {
    if (call.kind == KIND_GET) return get_rows(call, [](const Row &row) { return current_interval(row[0]); });
    Row row{};
    if (!accept_row(call, &row)) return call.reply;
    const std::string interval = lengthened_interval(row[0], call.value);
    if (has_item(call, row, "beacon")) {
        queue_row(call, row, "beacon", interval);
    } else {
        for (int i = (row[0] - 1) * VAPS; i < row[0] * VAPS; i++) queue_item(gid_vap[i], "beacon", interval);
    }
    store_cell(call, row, call.value);
    return set_accepted(call);
}
