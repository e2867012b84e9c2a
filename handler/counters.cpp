#include "handler/counters.h"

#include <cstring>

#include "handler/toolkit.h"
#include "platform/device.h"

static bool is_counter(const std::string &text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

bool parse_octets(const std::string &output, const char *marker, std::string *digits) {
    const size_t place = output.find(marker);
    if (place == std::string::npos) return false;
    const size_t begin = place + strlen(marker) + 1;
    const size_t end = output.find(" (", begin);
    if (end == std::string::npos) return false;
    *digits = output.substr(begin, end - begin);
    return is_counter(*digits);
}

std::string interface_octets(const char *ifname, bool received) {
    const char *direction = received ? "RX" : "TX";
    const CommandOutput output =
        read_command(format("ifconfig %s | grep \"%s byte\"", shell_word(ifname).c_str(), direction));
    std::string digits;
    if (parse_octets(output.text, format("%s bytes", direction).c_str(), &digits)) return digits;
    constexpr size_t LONGEST = 64;
    read_device_file(format("/sys/class/net/%s/statistics/%cx_bytes", ifname, received ? 'r' : 't'), LONGEST,
                     &digits);
    digits.erase(digits.find_last_not_of('\n') + 1);
    return is_counter(digits) ? digits : "0";
}
