// The channels that a radio may use in its country, band and width: object 2.1.1.9. Two files of the device
// say them: one shell variable per country whose value is the country's number, and a list of channels per
// country number, mode and width.
#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "handler/radio.h"
#include "platform/device.h"

// The country stands in a command as a variable's name: nothing else may get there.
static bool is_variable_name(const std::string &text) {
    return !text.empty() && !isdigit(static_cast<unsigned char>(text[0])) &&
           std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return c < 128 && (isalnum(c) || c == '_'); });
}

static std::string first_line(const std::string &text) {
    return text.substr(0, text.find('\n'));
}

// The number of a country. False and what to show instead when there is none.
static bool country_number(const std::string &country, unsigned *number, std::string *failure) {
    constexpr size_t LINE_LIMIT = 1023;
    *failure = "Getting country code failed.";
    if (!is_variable_name(country)) return false;
    const std::string command =
        "eval \"`cat " + shell_word(device_path("/etc/rc.d/country_code")) + "`\"; echo $" + country;
    const CommandOutput output = read_command(command);
    if (!output.started) {
        *failure = "popen(" + command + ") failed";
        TRACE("%s.\n", failure->c_str());
        return false;
    }
    *number = static_cast<unsigned>(atoi(first_line(output.text).substr(0, LINE_LIMIT).c_str()));
    return *number != 0;
}

static std::string list_key(unsigned country, const std::string &group) {
    const auto item = [&](const char *key) { return read_item(group.c_str(), key).text; };
    std::string key = "c" + std::to_string(country) + "_" + item("mode");
    const std::string width = item("ch_width");
    if (width == "80")
        key += "80";
    else if (width != "20")
        key += item("chwidth_ext");
    return key;
}

// The list in a line NAME='CHANNELS'.
static bool parse_channels(const std::string &line, std::string *channels) {
    const size_t name_end = line.find('=');
    if (name_end == std::string::npos || name_end == 0 || line[name_end + 1] != '\'') return false;
    const size_t begin = name_end + 2;
    const size_t end = line.find_first_not_of("0123456789 ", begin);
    if (end == std::string::npos || end == begin || line[end] != '\'') return false;
    *channels = line.substr(begin, end - begin);
    return true;
}

static std::string channel_list(int radio) {
    const std::string group = format("rf%d", radio);
    const Reading country = read_item(group.c_str(), "country");
    TRACE("rf%d country code:%s from ZEVCFG ret=%d.\n", radio, country.text.c_str(), country.result);
    unsigned number = 0;
    std::string failure;
    if (!country_number(country.text, &number, &failure)) return failure;

    const std::string command = "cat " + shell_word(device_path("/etc/allowed_channel")) + " | grep -w " +
                                shell_word(list_key(number, group));
    const CommandOutput output = read_command(command);
    if (!output.started) return "popen(" + command + ") failed";
    const std::string line = first_line(output.text);
    std::string channels;
    if (parse_channels(line, &channels)) return "0 " + channels;  // 0: the radio chooses
    TRACE("Invalid allowed channel list:%s.\n", line.c_str());
    return "Invalid allowed channel list";
}

snmp_reply *available_channels(const HandlerCall &call) {
    return read_only_radios(call, channel_list);
}
