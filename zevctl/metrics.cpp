#include "zevctl/metrics.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <span>
#include <unordered_map>

#include "client/protocol.h"
#include "platform/device.h"
#include "zevctl/output.h"

using Clock = std::chrono::steady_clock;

// Where the text of a label comes from.
enum Source : uint8_t {
    NO_LABEL,
    FIRST_ARC,  // of the instance
    SECOND_ARC,
    ADDRESS,    // the instance as a MAC address
    VALUE,      // the value, or its word, that `object` has in the same row
    FIXED_TEXT  // `text`
};

struct Label {
    const char *name = "";
    Source source = NO_LABEL;
    const Object *object = nullptr;
    const char *text = "";
};

// One object as a metric: its name without "zevsic_" and the unit. An object with words becomes a series for
// each of them with the label "state", 1 for the one that holds. Without an object: always 1, there for the
// labels, in the rows of the first of them that is a value.
struct Metric {
    const char *name;
    const Object *object;
    const char *help;
    std::array<Label, 5> labels = {};  // beside those of the collector
    const char *only = nullptr;        // rows with this value alone
};

struct Collector {
    const char *name;
    std::array<Label, 3> labels;
    std::span<const Metric> metrics;
};

static constexpr Metric SYSTEM[] = {
    {"device_info",
     nullptr,
     "Name, place, versions and address of the access point.",
     {{{"name", VALUE, "APSysName"_object},
       {"location", VALUE, "APSysLocation"_object},
       {"hardware", VALUE, "APHardwareVersion"_object},
       {"version", VALUE, "APSoftwareVersion"_object},
       {"mac", VALUE, "APSysMacAddress"_object}}}},
    {"uptime", "APSysUpTime"_object, "Time since the access point started."},
    {"cpu_usage", "cpu_usage"_object, "Part of the processor time in use."},
    {"memory_usage", "mem_usage"_object, "Part of the memory in use."},
    {"apply_state", "APSysApplyConfig"_object,
     "State of the apply of the configuration: 1 for the one that holds."},
    {"transfer_state",
     "TFTPActionStatus"_object,
     "State of backup, restore and upgrade: 1 for the one that holds.",
     {{{"protocol", FIXED_TEXT, nullptr, "tftp"}}}},
    {"transfer_state", "FTPActionStatus"_object, "", {{{"protocol", FIXED_TEXT, nullptr, "ftp"}}}},
};

static constexpr Metric RADIO[] = {
    {"radio_info",
     nullptr,
     "Band and address of a radio; a radio that is off has the band \"disabled\".",
     {{{"band", VALUE, "APRFBand"_object}, {"mac", VALUE, "APRFMacAddress"_object}}}},
    {"radio_channel", "APRFRadioChannelCurrent"_object, "Channel in use."},
    {"radio_transmit_power", "APRFTxPowerCurrent"_object, "Transmit power in use."},
    {"radio_stations", "APRFNumOfStation"_object, "Stations associated with the radio."},
    {"radio_receive", "APRFInOctets"_object, "Bytes received by the radio's VAPs."},
    {"radio_transmit", "APRFOutOctets"_object, "Bytes sent by the radio's VAPs."},
    {"radio_channel_busy", "APRFWDI"_object, "Part of the time in which the channel is busy."},
    {"radio_cochannel_interference", "APRFCCI"_object,
     "Part of the time in which the radio receives frames."},
    {"radio_adjacent_channel_interference", "APRFACI"_object,
     "Part of the time in which the channel is busy with neither frames received nor frames sent."},
};

static constexpr Metric VAP[] = {
    {"vap_info",
     nullptr,
     "BSSID of an enabled VAP that has an interface.",
     {{{"bssid", VALUE, "VAPBSSID"_object}}}},
    {"vap_enabled",
     "VAPSSIDEnabled"_object,
     "1 for a VAP that is configured to serve; the others have no series.",
     {},
     "2"},
    {"vap_stations", "VAPNumOfStations"_object, "Stations associated with the VAP."},
    {"vap_receive", "VAPInOctets"_object, "Bytes received by the VAP."},
    {"vap_transmit", "VAPOutOctets"_object, "Bytes sent by the VAP."},
};

static constexpr Metric STATION[] = {
    {"station_info",
     nullptr,
     "Band and VLAN of a station; VLAN 4096 is none.",
     {{{"band", VALUE, "APStaBandCheck"_object}, {"vlan", VALUE, "APStaVlanId"_object}}}},
    {"station_signal", "APReceivedStaSignalStrength"_object, "Strength of the station's signal."},
    {"station_snr", "APStaSNR"_object,
     "Distance of the station's signal from -95 dBm as the device rates it: 0 at 0 dBm, 1 at -95 dBm."},
    {"station_receive", "APStaRxBytes"_object, "Bytes received from the station; wraps at 2^32."},
    {"station_transmit", "APStaTxBytes"_object, "Bytes sent to the station; wraps at 2^32."},
};

static constexpr Metric NEIGHBOUR[] = {
    {"neighbour_info",
     nullptr,
     "Channel of an access point in the neighbourhood.",
     {{{"channel", VALUE, "NeighborhoodAPChannel"_object}}}},
    {"neighbour_signal", "NeighborhoodAPReceivedSignalStrength"_object,
     "Strength of the signal of an access point in the neighbourhood."},
};

// In the order in which they are read: what may take longest comes last.
static constexpr Collector COLLECTORS[] = {
    {"system", {}, SYSTEM},
    {"radio", {{{"radio", FIRST_ARC}}}, RADIO},
    {"vap", {{{"radio", FIRST_ARC}, {"vap", SECOND_ARC}, {"ssid", VALUE, "VAPESSID"_object}}}, VAP},
    {"station", {{{"mac", ADDRESS}, {"ssid", VALUE, "APStaSSIDName"_object}}}, STATION},
    {"neighbour", {{{"mac", ADDRESS}, {"ssid", VALUE, "NeighborhoodAPSSIDName"_object}}}, NEIGHBOUR},
};

// How the values of a unit are told: in a base unit, which ends the name.
struct Unit {
    const char *suffix;
    int divisor;
};

static Unit unit_of(const Object &object) {
    const std::string_view unit = object.unit;
    const bool counts = object.smi == COUNTER32 || object.smi == COUNTER64;
    if (object.type == TIMETICKS) return {"_seconds", 100};
    if (unit == "percent") return {"_ratio", 100};
    if (unit == "octets") return {counts ? "_bytes_total" : "_bytes", 1};
    if (unit == "dBm") return {"_dbm", 1};
    return {"", 1};
}

// A value as a sample; empty when it is no number ("N/A", "Unknown").
static std::string sample_value(const Object &object, const std::string &value) {
    long long number = 0;
    const char *end = value.data() + value.size();
    const auto [rest, code] = std::from_chars(value.data(), end, number);
    if (code != std::errc() || rest != end) return "";
    if (object.words == SWITCH_WORDS) number--;  // disabled 0, enabled 1
    const int divisor = unit_of(object).divisor;
    if (divisor == 1) return std::to_string(number);
    char text[32];
    snprintf(text, sizeof text, "%.2f", static_cast<double>(number) / divisor);
    return text;
}

// How many bytes the UTF-8 character at the front has, 0 when it is none.
static size_t utf8_length(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    const size_t length = first < 0x80   ? 1
                          : first < 0xc2 ? 0
                          : first < 0xe0 ? 2
                          : first < 0xf0 ? 3
                          : first < 0xf5 ? 4
                                         : 0;
    if (length > text.size()) return 0;
    for (size_t i = 1; i < length; i++)
        if ((byte(i) & 0xc0) != 0x80) return 0;
    // Neither longer than need be, nor a surrogate, nor above U+10FFFF.
    if (length > 2) {
        const unsigned char second = byte(1);
        if ((first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
            (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f))
            return 0;
    }
    return length;
}

// A label's text between its quotes. SSIDs are any bytes; what is not UTF-8 would make the whole answer
// unreadable.
static std::string label_text(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const size_t length = utf8_length(text);
        if (length == 0)
            out += "\xef\xbf\xbd";
        else if (text[0] == '\n')
            out += "\\n";
        else if (text[0] == '\\' || text[0] == '"')
            out += {'\\', text[0]};
        else
            out += text.substr(0, length);
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return out;
}

static std::string arc(const std::string &instance, int place) {
    size_t from = 0;
    for (; place > 0 && from < instance.size(); place--)
        from = std::min(instance.find('.', from), instance.size() - 1) + 1;
    return instance.substr(from, instance.find('.', from) - from);
}

static std::string address(const std::string &instance) {
    std::string text;
    for (int i = 0; i < 6; i++) {
        char byte[8];
        snprintf(byte, sizeof byte, "%s%02x", i ? ":" : "",
                 static_cast<unsigned>(atoi(arc(instance, i).c_str())) & 0xff);
        text += byte;
    }
    return text;
}

namespace {

// The rows of an object, in the daemon's order.
struct Column {
    std::vector<std::string> instances;
    std::unordered_map<std::string, std::string> values;

    std::string at(const std::string &instance) const {
        const auto found = values.find(instance);
        return found == values.end() ? "" : found->second;
    }
};

}  // namespace

// Reads columns until a moment.
class Reader {
  public:
    Reader(const Client &client, Clock::time_point end)
        : client_(client), longest_ms_(client.timeout_ms), end_(end) {
        limit();
    }

    // The object's column, which is read once. What failed before is not tried again.
    const Column &read(const Object *object);
    std::string error() const { return error_; }
    void forget_error() { error_.clear(); }

  private:
    // Every request gets what is left of the time, a millisecond at least.
    void limit() {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end_ - Clock::now()).count();
        client_.timeout_ms = static_cast<int>(std::clamp<long long>(left, 1, longest_ms_));
    }

    Client client_;
    int longest_ms_;
    Clock::time_point end_;
    std::string error_;
    std::unordered_map<const Object *, Column> columns_;
};

const Column &Reader::read(const Object *object) {
    const auto [found, is_new] = columns_.try_emplace(object);
    Column &column = found->second;
    if (!is_new || !error_.empty()) return column;
    const std::string oid = std::string(ROOT_OID) + "." + object->oid + (table_of(*object) ? "" : ".0");
    constexpr int ATTEMPTS = 3;  // rows that come and go break a walk off
    int status = EXIT_REFUSED;
    for (int i = 0; i < ATTEMPTS && status == EXIT_REFUSED; i++) {
        column = {};
        limit();
        const auto keep = [&](const Target &target, const snmp_reply &reply) {
            if (target.object == object && column.values.emplace(target.instance, reply.value).second)
                column.instances.push_back(target.instance);
            limit();
        };
        status = walk_values(client_, oid, keep, &error_);
    }
    if (status == EXIT_NO_DAEMON)
        error_ = std::string(object->name) + ": " + error_;
    else
        error_.clear();
    return column;
}

static std::string word_or_value(const Object *object, const std::string &value) {
    const char *word = word_of(object, value);
    return word ? word : value;
}

// "name="text",…" of the labels in a row.
static std::string labels_text(Reader *reader, std::span<const Label> labels, const std::string &instance) {
    std::string out;
    for (const Label &label : labels) {
        std::string text;
        switch (label.source) {
            case NO_LABEL:
                continue;
            case FIRST_ARC:
                text = arc(instance, 0);
                break;
            case SECOND_ARC:
                text = arc(instance, 1);
                break;
            case ADDRESS:
                text = address(instance);
                break;
            case VALUE:
                text = word_or_value(label.object, reader->read(label.object).at(instance));
                break;
            case FIXED_TEXT:
                text = label.text;
                break;
        }
        while (!text.empty() && text.back() == '\n') text.pop_back();  // as a version file ends
        out += (out.empty() ? "" : ",") + std::string(label.name) + "=\"" + label_text(text) + "\"";
    }
    return out;
}

static void add_head(std::string *out, const std::string &name, const char *help) {
    if (!*help) return;  // more of the metric before
    const bool counter = name.ends_with("_total");
    *out += "# HELP " + name + " " + help + "\n# TYPE " + name + (counter ? " counter\n" : " gauge\n");
}

static void add_sample(std::string *out, const std::string &name, const std::string &labels,
                       const std::string &value) {
    if (!value.empty()) *out += name + (labels.empty() ? "" : "{" + labels + "}") + " " + value + "\n";
}

static void add_states(std::string *out, const std::string &name, const std::string &labels,
                       const Words &words, const std::string &value) {
    for (const Word &word : words) {
        const std::string all =
            labels + (labels.empty() ? "" : ",") + "state=\"" + label_text(word.text) + "\"";
        add_sample(out, name, all, value == std::to_string(word.value) ? "1" : "0");
    }
}

static void add_metric(Reader *reader, const Collector &collector, const Metric &metric, std::string *out) {
    const Object &object = *(metric.object ? metric.object : metric.labels[0].object);
    const Column &column = reader->read(&object);
    const std::string name =
        std::string("zevsic_") + metric.name + (metric.object ? unit_of(object).suffix : "");
    add_head(out, name, metric.help);
    for (const std::string &instance : column.instances) {
        const std::string value = column.at(instance);
        if (metric.only && value != metric.only) continue;
        std::string labels = labels_text(reader, collector.labels, instance);
        const std::string more = labels_text(reader, metric.labels, instance);
        if (!labels.empty() && !more.empty()) labels += ",";
        labels += more;
        if (!metric.object)
            add_sample(out, name, labels, "1");
        else if (object.words && object.words != SWITCH_WORDS)
            add_states(out, name, labels, object.words, value);
        else
            add_sample(out, name, labels, sample_value(object, value));
    }
}

std::vector<std::string> metrics_collectors() {
    std::vector<std::string> names;
    for (const Collector &collector : COLLECTORS) names.emplace_back(collector.name);
    return names;
}

MetricsText read_metrics(const Client &client, const std::vector<std::string> &collectors, int limit_ms) {
    Reader reader(client, Clock::now() + std::chrono::milliseconds(limit_ms));
    MetricsText result;
    std::string &out = result.text;
    std::string success, duration;

    reader.read("APSysApplyConfig"_object);  // there even while an apply runs
    result.error = reader.error();
    result.up = result.error.empty();
    add_head(&out, "zevsic_up", "Whether the daemon answers.");
    add_sample(&out, "zevsic_up", "", result.up ? "1" : "0");
    add_head(&out, "zevsic_build_info", "Version of the program that tells the metrics.");
    add_sample(&out, "zevsic_build_info", "version=\"" ZEVSIC_VERSION "\"", "1");
    add_head(&out, "zevsic_unapplied_changes",
             "Whether the configuration holds saved changes that are not applied.");
    add_sample(&out, "zevsic_unapplied_changes", "", our_file_exists(SAVED_CHANGES_FILE) ? "1" : "0");
    add_head(&out, "zevsic_store_damaged", "Whether damage of the configuration store was found.");
    add_sample(&out, "zevsic_store_damaged", "", device_file_exists(DAMAGE_FILE) ? "1" : "0");
    if (!result.up) return result;

    for (const Collector &collector : COLLECTORS) {
        if (!collectors.empty() &&
            std::find(collectors.begin(), collectors.end(), collector.name) == collectors.end())
            continue;
        const Clock::time_point begin = Clock::now();
        for (const Metric &metric : collector.metrics) add_metric(&reader, collector, metric, &out);
        const std::string label = std::string("collector=\"") + collector.name + "\"";
        const std::chrono::duration<double> time = Clock::now() - begin;
        char seconds[32];
        snprintf(seconds, sizeof seconds, "%.6f", time.count());
        add_sample(&success, "zevsic_scrape_collector_success", label, reader.error().empty() ? "1" : "0");
        add_sample(&duration, "zevsic_scrape_collector_duration_seconds", label, seconds);
        if (result.error.empty()) result.error = reader.error();
        reader.forget_error();
    }
    add_head(&out, "zevsic_scrape_collector_success",
             "Whether everything of the collector was read in time.");
    out += success;
    add_head(&out, "zevsic_scrape_collector_duration_seconds", "Time that reading the collector took.");
    out += duration;
    return result;
}

int metrics(const Client &client, const std::vector<std::string> &collectors) {
    constexpr int LIMIT_MS = 60000;
    const MetricsText result = read_metrics(client, collectors, LIMIT_MS);
    fputs(result.text.c_str(), stdout);
    if (result.error.empty()) return EXIT_DONE;
    return complain(result.up ? EXIT_REFUSED : EXIT_NO_DAEMON, result.error);
}
