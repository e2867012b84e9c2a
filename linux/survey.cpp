#include "linux/survey.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <ctime>

#include "linux/machine.h"
#include "platform/device.h"

static constexpr int64_t SAME_S = 5;

namespace {

// What is kept from one reading to the next.
struct Reading {
    int64_t taken = 0;  // seconds since the machine started
    ChannelSurvey survey;
    ChannelUse use;
};

}  // namespace

static std::string reading_path(int radio) {
    return device_path("/run/zevnet/survey-" + std::to_string(radio));
}

static bool load_reading(int radio, Reading *out) {
    std::string text;
    ChannelSurvey &survey = out->survey;
    return read_device_file("/run/zevnet/survey-" + std::to_string(radio), 4096, &text) &&
           sscanf(text.c_str(),
                  "%" SCNd64 " %" SCNu32 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %d %d %d",
                  &out->taken, &survey.frequency, &survey.time, &survey.busy, &survey.received, &survey.sent,
                  &out->use.busy, &out->use.receiving, &out->use.sending) == 9;
}

// A reading that cannot be kept costs the next one its begin, no more.
static void save_reading(int radio, const Reading &reading) {
    mkdir(device_path("/run/zevnet").c_str(), 0755);
    const std::string path = reading_path(radio);
    const std::string next = path + "." + std::to_string(getpid());
    FILE *file = fopen(next.c_str(), "wxe");
    if (file == nullptr) return;
    const ChannelSurvey &survey = reading.survey;
    fprintf(file, "%" PRId64 " %" PRIu32 " %" PRIu64 " %" PRIu64 " %" PRIu64 " %" PRIu64 " %d %d %d\n",
            reading.taken, survey.frequency, survey.time, survey.busy, survey.received, survey.sent,
            reading.use.busy, reading.use.receiving, reading.use.sending);
    if (fclose(file) != 0 || rename(next.c_str(), path.c_str()) != 0) unlink(next.c_str());
}

static int share(uint64_t part, uint64_t before, uint64_t time) {
    if (part < before || time == 0) return 0;
    return static_cast<int>(std::min<uint64_t>((part - before) * 100 / time, 100));
}

// The channel that the interface works on. Some drivers mark it; else it is told by the interface's
// frequency.
static bool survey_channel(const std::string &interface, ChannelSurvey *out) {
    uint32_t frequency = 0;
    ask_nl80211(Nl80211Question::INTERFACES, "", [&](nlmsghdr *message) {
        WirelessInterface other;
        if (read_interface_message(message, &other) && other.name == interface) frequency = other.frequency;
    });
    bool found = false;
    ask_nl80211(Nl80211Question::SURVEY, interface, [&](nlmsghdr *message) {
        ChannelSurvey survey;
        if (!read_survey_message(message, &survey) || !survey.has_times) return;
        if (!survey.in_use && survey.frequency != frequency) return;
        *out = survey;
        found = true;
    });
    return found;
}

bool read_channel_use(int radio, ChannelUse *use, std::string *why) {
    Reading before, now;
    timespec clock = {};
    clock_gettime(CLOCK_BOOTTIME, &clock);
    now.taken = clock.tv_sec;
    const bool known = load_reading(radio, &before) && before.taken <= now.taken;
    if (known && now.taken - before.taken < SAME_S) {
        *use = before.use;
        return true;
    }
    const std::string interface = radio_interface(radio + 1);
    *why = interface + ": not there, or its driver does not tell how busy the channel is";
    if (!survey_channel(interface, &now.survey)) return false;
    // From the driver's own begin when there is nothing to compare with: another channel, or a radio that
    // began anew.
    if (!known || before.survey.frequency != now.survey.frequency || now.survey.time <= before.survey.time)
        before.survey = {};
    const uint64_t time = now.survey.time - before.survey.time;
    now.use = {share(now.survey.busy, before.survey.busy, time),
               share(now.survey.received, before.survey.received, time),
               share(now.survey.sent, before.survey.sent, time)};
    save_reading(radio, now);
    *use = now.use;
    return true;
}
