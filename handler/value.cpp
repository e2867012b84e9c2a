#include "handler/value.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "handler/check.h"
#include "handler/toolkit.h"

// ---- forms ----

static bool is_ssid(const char *value) {
    return check_printable(value) && value[0] != ' ' && value[strlen(value) - 1] != ' ';
}

static bool to_lower_hex(char *value) {
    if (!check_hex_string(value)) return false;
    for (; *value != '\0'; value++) *value = static_cast<char>(tolower(*value));
    return true;
}

static bool is_web_url(std::string_view value) {
    return value.starts_with("http://") || value.starts_with("https://");
}

// Country code and network code of a cellular network: six digits, with "f" in place of the fourth for a
// network code of two digits.
static bool to_cellular_network(char *value) {
    constexpr int FILLER = 3;
    if (value[FILLER] == 'F') value[FILLER] = 'f';
    for (int i = 0; value[i] != '\0'; i++) {
        const bool is_digit = value[i] >= '0' && value[i] <= '9';
        if (!is_digit && !(i == FILLER && value[i] == 'f')) return false;
    }
    return true;
}

// A name, which is written in upper case, or a number.
static bool to_protocol(char *value) {
    for (char *c = value; *c != '\0'; c++)
        if (*c >= 'a' && *c <= 'z') *c = static_cast<char>(*c - 'a' + 'A');
    if (strcmp(value, "TCP") == 0 || strcmp(value, "UDP") == 0) return true;
    return *value != '-' && check_int_range(value, 0, 255);
}

static bool has_form(Form form, char *value) {
    switch (form) {
        case ANY_TEXT:
            return true;
        case NAME_CHARS:
            return check_name_chars(value);
        case PRINTABLE:
            return check_printable(value);
        case VISIBLE:
            return check_printable_nospace(value);
        case SSID:
            return is_ssid(value);
        case IPV4_ADDRESS:
            return check_ipv4_addr(value);
        case IPV6_ADDRESS:
            return check_ipv6_addr(value);
        case DOMAIN_NAME:
            return check_domain_name(value);
        case REALM_LIST:
            return check_nai_realm_list(value);
        case MAC_ADDRESS:
            return check_mac_addr(value);
        case HEX:
            return check_hex_string(value);
        case LOWER_HEX:
            return to_lower_hex(value);
        case WEB_URL:
            return is_web_url(value);
        case CELLULAR:
            return to_cellular_network(value);
        case PROTOCOL:
            return to_protocol(value);
        case VAP_MASK:
            return value[strspn(value, "01")] == '\0';
        case SHORT_NUMBER:
            return strlen(value) <= 6 && atoi(value) >= 0;
    }
    return false;
}

bool within_range(const Object &object, const char *value) {
    if (!object.range.are_set()) return true;
    if (object.digits == FIRST_DIGITS) return object.range.have(atoi(value));
    if (object.digits == OR_NO_DIGIT && atoi(value) == 0) return true;
    const auto length = static_cast<long>(strlen(value));
    return std::any_of(object.range.begin(), object.range.end(), [&](const Range &range) {
        if (!range.is_set()) return false;
        return object.type == INTEGER ? check_int_range(value, range.low, range.high) : range.has(length);
    });
}

static bool is_number_allowed(const Object &object, const char *value) {
    if (!object.numbers.are_set()) return true;
    return std::any_of(object.numbers.begin(), object.numbers.end(), [&](const Range &range) {
        return range.is_set() && check_int_range(value, range.low, range.high);
    });
}

bool is_acceptable(const Object &object, char *value) {
    if (!within_range(object, value)) return false;
    if (object.or_empty && *value == '\0') return true;
    return is_number_allowed(object, value) && has_form(object.form, value);
}

// ---- codecs ----

constexpr size_t HEX_TEXT_DIGITS = 32;

static std::string decoded_text(const std::string &stored) {
    std::string text;
    if (stored.size() < HEX_TEXT_DIGITS) return text;
    for (size_t i = 0; i < HEX_TEXT_DIGITS; i += 2)
        text += static_cast<char>(strtol(stored.substr(i, 2).c_str(), nullptr, 16));
    return text;
}

static std::string encoded_text(const char *value) {
    std::string digits;
    for (; *value != '\0'; value++) digits += format("%02x", static_cast<unsigned char>(*value));
    return digits;
}

static std::string on_or_off(bool on) {
    return on ? "enable" : "disable";
}

static std::string decoded(const Object &object, const std::string &stored) {
    const int number = atoi(stored.c_str());
    switch (object.codec) {
        case AS_STORED:
        case VLAN_ID:
            break;
        case SHOWS_NUMBER:
        case PLAIN_NUMBER:
            return std::to_string(number);
        case THOUSANDS:
            return std::to_string(number / 1000);
        case VLAN_IN_USE:
            return on_or_off(number >= 1 && number <= 4094);
        case VLAN_OF_VAP:
            return on_or_off(number >= 0 && number <= 4094);
        case HEX_NUMBER: {
            const long hex = strtol(stored.c_str(), nullptr, 16);
            return object.range.have(hex) ? std::to_string(hex) : "";
        }
        case HEX_TEXT:
            return decoded_text(stored);
        case COUNTED_FROM_ONE:
            return stored.empty() ? "0" : std::to_string(int64_t{number} + 1);
    }
    return stored;
}

static std::string encoded(const Object &object, const char *value) {
    const int number = atoi(value);
    switch (object.codec) {
        case AS_STORED:
        case SHOWS_NUMBER:
        case VLAN_IN_USE:
        case VLAN_OF_VAP:
            break;
        case PLAIN_NUMBER:
            return std::to_string(number);
        case THOUSANDS:
            return std::to_string(number * 1000);
        case VLAN_ID:
            return number == 0 ? NO_VLAN : value;
        case HEX_NUMBER:
            return format("%04x", number);
        case HEX_TEXT:
            return encoded_text(value);
        case COUNTED_FROM_ONE:
            return std::to_string(number - 1);
    }
    return value;
}

std::string shown(const Object &object, const std::string &stored) {
    std::string value = decoded(object, stored);
    if (!object.words.are_stored()) return value;
    const Word *word = object.words.of_stored(value);
    return word ? std::to_string(word->value) : object.words.otherwise;
}

std::string stored(const Object &object, const char *value) {
    const Word *word = object.words.of_value(atoi(value));
    return word && word->stored ? word->stored : encoded(object, value);
}
