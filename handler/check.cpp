#include "handler/check.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/k480ext.h"
#include "tree/trace.h"

static bool is_digit(char c) {
    return c >= '0' && c <= '9';
}
static bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
static bool is_hex(char c) {
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
static bool is_printable(char c) {
    return c >= 32 && c <= 126;
}
static bool is_visible(char c) {
    return c >= 33 && c <= 126;
}

template <typename Test>
static bool all_of(std::string_view text, Test test) {
    return std::all_of(text.begin(), text.end(), test);
}

bool check_int_range(const char *text, int low, int high) {
    if (low > high) std::swap(low, high);
    const bool negative = *text == '-';
    if (negative) text++;
    if (*text == '\0' || !all_of(text, is_digit)) return false;
    constexpr int64_t BEYOND = int64_t{1} << 32;
    int64_t value = 0;
    for (; *text != '\0'; text++) value = std::min(value * 10 + (*text - '0'), BEYOND);
    if (negative) value = -value;
    return value >= low && value <= high;
}

bool check_printable(const char *text) {
    return *text != '\0' && all_of(text, is_printable);
}

bool check_printable_nospace(const char *text) {
    return *text != '\0' && all_of(text, is_visible);
}

bool check_hex_string(const char *text) {
    return all_of(text, is_hex);
}

bool check_name_chars(const char *text) {
    return all_of(text, [](char c) {
        return is_digit(c) || is_letter(c) || (c != '\0' && strchr(" #()*,-.:?@_|", c));
    });
}

// Calls `part` for each piece between separators, runs of which count as one. False as soon as one call is.
template <typename Part>
static bool each_part(std::string_view text, char separator, Part part) {
    while (!text.empty()) {
        const size_t end = std::min(text.find(separator), text.size());
        if (end > 0 && !part(text.substr(0, end))) return false;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return true;
}

// A number of digits only, cut to one that is beyond every bound here; −1 for any other text.
static int small_number(std::string_view digits) {
    if (digits.empty() || !all_of(digits, is_digit)) return -1;
    int value = 0;
    for (const char c : digits) value = std::min(value * 10 + (c - '0'), 1000);
    return value;
}

bool check_ipv4_addr(const char *text) {
    const std::string_view address = text;
    if (address.empty() || address.size() > 15 || std::count(address.begin(), address.end(), '.') != 3)
        return false;
    int parts = 0;
    const bool valid = each_part(address, '.', [&](std::string_view part) {
        const int value = small_number(part);
        return value >= 0 && value <= 255 && (parts++ > 0 || value != 0);
    });
    return valid && parts == 4;
}

bool check_ipv6_addr(const char *text) {
    in6_addr address;
    const std::string_view given = text;
    return given.find('.') == std::string_view::npos && std::count(given.begin(), given.end(), ':') <= 7 &&
           inet_pton(AF_INET6, text, &address) == 1;
}

static bool is_label(std::string_view label) {
    return label.size() <= 63 && label.front() != '-' && label.back() != '-' &&
           all_of(label, [](char c) { return is_digit(c) || is_letter(c) || c == '-'; });
}

static bool is_domain_name(std::string_view name) {
    constexpr std::string_view GENERIC[] = {"com", "edu", "gov", "mil", "net", "org", "tel"};
    if (name.size() >= 254) return false;
    std::string_view last;
    const bool valid = each_part(name, '.', [&](std::string_view label) {
        last = label;
        return is_label(label);
    });
    if (!valid || last.empty()) return false;
    return last.size() == 2 || std::find(std::begin(GENERIC), std::end(GENERIC), last) != std::end(GENERIC);
}

bool check_domain_name(const char *text) {
    return is_domain_name(text);
}

bool check_nai_realm_list(const char *text) {
    bool found = false;
    return each_part(text, ';', [&](std::string_view name) { return found = is_domain_name(name); }) && found;
}

bool check_mac_addr(char *text) {
    if (strlen(text) != 17) return false;
    bool mixed = false;
    const char separator = text[2];
    for (int i = 0; i < 17; i++) {
        if (i % 3 != 2) {
            if (!is_hex(text[i])) return false;
        } else {
            if (text[i] != ':' && text[i] != '-') return false;
            if (text[i] != separator) mixed = true;
        }
    }
    for (int i = 0; i < 17; i++) text[i] = i % 3 == 2 ? ':' : static_cast<char>(toupper(text[i]));
    return !mixed;
}

bool check_band_mode(int radio, int code) {
    constexpr int NO_BAND = 0;
    constexpr int BAND_OF_CODE[8] = {NO_BAND, 5, 2, 2, 2, 5, 2, 5};
    constexpr int MODE_11AC = 7;
    const int radio_band = radio == 1 ? 2 : 5;
    TRACE("RF%d_BAND=%d\n", radio, radio_band);
    const int code_band = code >= 0 && code < 8 ? BAND_OF_CODE[code] : NO_BAND;
    if (code_band != NO_BAND && code_band != radio_band) return false;
    unsigned capability = 0;
    get_rf_capable_mode(radio, &capability);
    return code != MODE_11AC || (capability & CAPABILITY_11AC);
}

bool check_wep_key(const char *key, const char *length, const char *format) {
    static constexpr struct {
        const char *bits;
        size_t ascii, hex;
    } lengths[] = {{"64", 5, 10}, {"128", 13, 26}, {"152", 16, 32}};
    for (const auto &entry : lengths) {
        if (strcmp(length, entry.bits) != 0) continue;
        if (strcmp(format, "ascii") == 0) return strlen(key) == entry.ascii && check_printable_nospace(key);
        if (strcmp(format, "hex") == 0) return strlen(key) == entry.hex && check_hex_string(key);
    }
    return false;
}

bool check_psk_key(const char *key, const char *type) {
    const size_t length = strlen(key);
    if (strcmp(type, "psk") == 0) return length == 64 && check_hex_string(key);
    return length >= 8 && length <= 63 && check_printable_nospace(key);
}

bool parse_firewall_interface(const char *text, int rule, char (&key)[64], char (&ifname)[64]) {
    const std::string_view given = text;
    const size_t dot = given.find('.', 2);
    if (dot == std::string_view::npos || given[1] != '.') return false;
    const char side = given[0];
    const int radio = small_number(given.substr(2, dot - 2)) - 1;
    const int vap = small_number(given.substr(dot + 1)) - 1;
    if (radio < 0 || radio > 1 || vap < -1 || vap > 15) return false;
    if (side != 's' && side != 'd') return false;
    if (vap < 0)
        snprintf(ifname, sizeof ifname, "ath%dap+", radio);
    else
        snprintf(ifname, sizeof ifname, "ath%dap%d", radio, vap);
    snprintf(key, sizeof key, "bfw_entry:%d.%cInterface", rule - 1, side);
    return true;
}

int days_in_month(int year, int month) {
    constexpr int DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year == -1 || month == -1) return -1;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : DAYS[month - 1];
}
