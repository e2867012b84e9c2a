// What an object and a table are, as data. The lists of registry/groups are made of these; registry.h has
// them as arrays.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "registry/wire.h"
#include "registry/words.h"

enum Access : uint8_t { NO_ACCESS, READ_ONLY, READ_WRITE };

// Inclusive bounds.
struct Range {
    int low = 0;
    int high = -1;  // low > high: no range

    constexpr bool is_set() const { return low <= high; }
    constexpr bool has(int64_t number) const { return number >= low && number <= high; }
};

// Alternatives, written `exactly(0) | between(13, 36)`. Without any, every number is within.
struct Ranges : std::array<Range, 3> {
    constexpr bool are_set() const { return front().is_set(); }
    constexpr bool have(int64_t number) const {
        if (!are_set()) return true;
        for (const Range &range : *this)
            if (range.is_set() && range.has(number)) return true;
        return false;
    }
};

// What is thrown here never is: a slip in a list is no constant then, and does not compile.
consteval Ranges between(int low, int high) {
    if (low > high) throw "the bounds are the wrong way round";
    return {{Range{low, high}}};
}
consteval Ranges exactly(int number) {
    return between(number, number);
}
consteval Ranges operator|(Ranges ranges, const Ranges &more) {
    for (Range &range : ranges)
        if (!range.is_set()) {
            range = more.front();
            return ranges;
        }
    throw "too many alternatives";
}

// What managers have an integer as: one of the type's own range, or a number that is never negative. A
// counter starts anew at 2^32, or is one that outgrows 32 bits within minutes on a busy radio.
enum Smi : uint8_t { BY_TYPE, GAUGE32, COUNTER32, COUNTER64 };

// What a text must look like to be accepted. MAC_ADDRESS, LOWER_HEX, CELLULAR and PROTOCOL bring it into the
// form in which it is stored.
enum Form : uint8_t {
    ANY_TEXT,
    NAME_CHARS,    // letters, digits and  space # ( ) * , - . : ? @ _ |
    PRINTABLE,     // ASCII 32 to 126
    VISIBLE,       // ASCII 33 to 126
    SSID,          // printable, no blank at either end
    IPV4_ADDRESS,  // the first part not 0
    IPV6_ADDRESS,  // without a dotted tail
    DOMAIN_NAME,
    REALM_LIST,    // domain names separated by ';'
    MAC_ADDRESS,   // with ':' or '-' throughout; stored in upper case with ':'
    HEX,           // hexadecimal digits
    LOWER_HEX,     // the same, stored in lower case
    WEB_URL,       // begins with http:// or https://
    CELLULAR,      // country and network code, 'f' for a missing fourth digit
    PROTOCOL,      // TCP, UDP (stored in upper case), or the number of an IP protocol
    VAP_MASK,      // digits 0 and 1
    SHORT_NUMBER,  // up to six characters that do not read as a negative number
};

// Whether a text is stored as it was written, but for the case of its letters and what separates them.
constexpr bool is_rewritten(Form form) {
    return form == MAC_ADDRESS || form == LOWER_HEX || form == CELLULAR || form == PROTOCOL;
}

// The same in the words that people are told; empty for any text.
constexpr const char *text_of(Form form) {
    switch (form) {
        case ANY_TEXT:
            return "";
        case NAME_CHARS:
            return "letters, digits, blanks and #()*,-.:?@_|";
        case PRINTABLE:
            return "printable ASCII characters";
        case VISIBLE:
            return "printable ASCII characters, no blanks";
        case SSID:
            return "printable ASCII characters, no blank at either end";
        case IPV4_ADDRESS:
            return "an IPv4 address";
        case IPV6_ADDRESS:
            return "an IPv6 address";
        case DOMAIN_NAME:
            return "a domain name that ends in two letters or com, edu, gov, mil, net, org, tel";
        case REALM_LIST:
            return "domain names that end in two letters or com, edu, gov, mil, net, org, tel, with ; "
                   "between them";
        case MAC_ADDRESS:
            return "a MAC address with : or - throughout";
        case HEX:
        case LOWER_HEX:
            return "hexadecimal digits";
        case WEB_URL:
            return "a URL that begins with http:// or https://";
        case CELLULAR:
            return "digits, the fourth may be f";
        case PROTOCOL:
            return "TCP, UDP or 0..255";
        case VAP_MASK:
            return "digits 0 and 1";
        case SHORT_NUMBER:
            return "a number of up to six digits";
    }
    return "";
}

// How the stored text becomes the value and the other way round, before and after the words. What is not said
// here stays as it is.
enum Codec : uint8_t {
    AS_STORED,
    SHOWS_NUMBER,      // shows the number that the text begins with
    PLAIN_NUMBER,      // as SHOWS_NUMBER, and stores a number in its shortest form
    THOUSANDS,         // stored a thousand times finer
    VLAN_ID,           // stores 4096, no VLAN, for 0
    VLAN_IN_USE,       // shows whether it is a VLAN id, 1 to 4094
    VLAN_OF_VAP,       // the same, 0 to 4094
    HEX_NUMBER,        // stored as four hexadecimal digits; shows nothing for a number out of the range
    HEX_TEXT,          // stored as two hexadecimal digits a character, sixteen characters
    COUNTED_FROM_ONE,  // stored counted from 0; 0 for no text
};

// How a SET reads the text of an integer.
enum Digits : uint8_t {
    ALL_DIGITS,    // a number, whole
    OR_NO_DIGIT,   // the same, or a text that begins with none, which is 0
    FIRST_DIGITS,  // the number that it begins with, whatever follows; without one 0
};

// A condition on another item of the object's group, as it is stored.
struct Need {
    const char *key = nullptr;
    bool is = true;  // the item is the text, or is not
    const char *text = "";
};

// All of them, written `item("state", "enable") & item("mode", "static")`.
using Needs = std::array<Need, 2>;
consteval Needs item(const char *key, const char *text) {
    return {{{key, true, text}}};
}
consteval Needs unless_off(const char *key) {
    return {{{key, false, "disable"}}};
}
consteval Needs operator&(Needs needs, const Needs &more) {
    if (needs[1].key || more[1].key) throw "too many needs";
    needs[1] = more[0];
    return needs;
}

// A SET of the object is refused unless another one, of the same row or the row's radio, is stored with this
// value; where not `is`, with any other one.
struct Dependency {
    const char *object = nullptr;  // its name
    const char *value = "";
    bool is = true;
    const char *only_for = nullptr;  // the value whose SET needs it; null: every one
};

// A setting that counts while the object of its row that chooses the security has one of these one-digit
// values.
struct SecurityPart {
    const char *type = nullptr;  // its name
    const char *values = "";
};

// No VLAN, where the store keeps a VLAN id.
inline constexpr const char *NO_VLAN = "4096";

enum Radios : uint8_t { ALL_RADIOS, PLAIN_RADIOS, OFFLOAD_RADIOS };  // which kind of radio has a setting

// In which order a SET goes through its first steps.
enum SetOrder : uint8_t { TRACE_VALUE_ROW, VALUE_ROW_TRACE, ROW_VALUE_TRACE, ROW_TRACE_VALUE };

// A level of a table's row index.
struct Arc {
    const char *name = nullptr;  // for people
    char letter = '\0';          // names the number in patterns
    int low = 0, high = 255;     // where the numbers begin and, at most, end
    // The object that shows the number; one that no list has is the MIB module's.
    const char *index = nullptr;
};

constexpr size_t MOST_LEVELS = 6;  // of a row index: those of a MAC address
using Levels = std::array<Arc, MOST_LEVELS>;
consteval Levels levels(Arc first, Arc second = {}, Arc third = {}, Arc fourth = {}) {
    return {first, second, third, fourth};
}
consteval Levels mac_levels(const char *index) {
    Levels bytes;
    bytes.fill({"BYTE", 'b'});
    bytes[0].index = index;
    return bytes;
}

inline constexpr Arc RADIO_ARC = {"RADIO", 'r', 1, 2, "APRFIndex"};
inline constexpr Arc VAP_ARC = {"VAP", 'v', 1, 16, "VAPIndex"};
inline constexpr Arc LINK_ARC = {"LINK", 'v', 1, 8, "APWDSIndex"};

// Patterns (group, key, trace texts) hold numbers and texts of the row:
//
// clang-format off
//   %r %v         the arc of that letter
//   %k %m         the arc of that letter, counted from 0: less its low
//   %1 %2 %3 %4   the arc of that place, less one
// in traces also
//   %s            the text: what was read, or what is set
//   %e            the result of the read
//   %K            the key of the item
//   %i            the first arc of the request
//   %q %o %c      the instance requested, that of the row, and how they compare (strcmp)
// clang-format on
struct Table {
    const char *oid = "";   // of its entry
    const char *name = "";  // without "Table" and "Entry"
    Levels arcs{};
    const char *group = "";       // pattern of the store's group of a row
    const char *trace = nullptr;  // of an item read
    const char *set_trace = "";   // of a SET
    SetOrder set_order = TRACE_VALUE_ROW;
    // How many rows there are: the item that tells it, and the variable of the rc environment that tells it
    // first. Without an item all numbers are rows.
    const char *size_key = nullptr;
    const char *size_name = nullptr;
    int predefined = 0;             // rows in front of the counted ones
    bool grows = false;             // a row comes into being when it is written
    bool checks_first_arc = false;  // a GET with a first arc that no row has ends at once

    constexpr int levels() const {
        int n = 0;
        while (n < static_cast<int>(arcs.size()) && arcs[n].name) n++;
        return n;
    }
    constexpr bool is_by_mac() const { return arcs[0].letter == 'b'; }
    constexpr bool is_counted() const { return size_key != nullptr; }
};

struct Object {
    const char *oid = "";   // relative to ROOT_OID
    const char *name = "";  // empty for a branch
    ValueType type = TYPE_NONE;
    Access access = NO_ACCESS;

    // What a SET accepts.
    Ranges range{};  // of the number for integers, of the length for texts
    Digits digits = ALL_DIGITS;
    Ranges numbers{};  // of a text that is a number
    Form form = ANY_TEXT;
    bool or_empty = false;  // the form and the numbers let the empty text pass
    Words words;
    const char *unit = "";
    Smi smi = BY_TYPE;

    // Where the value is.
    const char *group = nullptr;   // in the store, in place of the table's
    const char *key = nullptr;     // in the group
    const char *system = nullptr;  // name of a system item, in place of an item of the store
    const char *trace = nullptr;   // of an item read, in place of the table's
    Codec codec = AS_STORED;
    const char *missing = nullptr;    // shown when the group has no such key, in place of the empty text
    bool optional = false;            // a SET is accepted without effect when the group has no such key
    Radios radios = ALL_RADIOS;       // on the others "-1" is shown and a SET is accepted without effect
    Needs needs{};                    // for a SET
    const char *set_trace = nullptr;  // in place of the table's
    bool instance_first = false;      // a SET checks the row before the value, in place of the table's order
    bool shows_arc = false;           // the last arc of its rows
    bool any_instance = false;        // a scalar that answers whatever arc is asked for
    bool in_kernel = false;           // rows only for VAPs that have an interface

    // What others must know.
    bool live = false;  // changes by itself: asked again when the sample time has passed
    bool slow = false;  // its handler runs tools or samples: an answer may take seconds
    bool acts = false;  // a SET does something at once
    // Why a SET within the bounds may be refused all the same, in words for people: for the state of the
    // device, or for what the device is.
    const char *condition = nullptr;
    const char *limit = nullptr;
    std::array<Dependency, 2> depends{};    // on other objects, as a rule of its own checks
    std::array<const char *, 4> changes{};  // objects of the row that a SET changes along, without showing it
    SecurityPart part_of{};
    bool secret = false;     // a key or password: shown only to those who ask for secrets
    bool transient = false;  // writable, but kept by the daemon only: no part of the configuration
    bool vlan = false;       // a VLAN id: NO_VLAN shows for none, which a SET writes as 0

    constexpr bool is_branch() const { return type == TYPE_NONE; }
    constexpr std::string_view entry_oid() const {  // the OID without its last arc
        const std::string_view text = oid;
        const size_t dot = text.rfind('.');
        return dot == std::string_view::npos ? std::string_view() : text.substr(0, dot);
    }
    constexpr int last_arc() const {
        int arc = 0;
        for (const char *c = oid; *c; c++) arc = *c == '.' ? 0 : 10 * arc + (*c - '0');
        return arc;
    }
};

// Shorthands of the lists, for members that go together in several entries.
#define VAP_SECURITY "rf%r_vap%v_sec"
#define VAP_HOTSPOT "rf%r_vap%v_hs20"
#define READ_TRACE "ans= %s from ZEVCFG ret=%e.\n"
#define VAP_TRACE "rf%r,vap%v %K %s from ZEVCFG ret=%e.\n"
#define LIST_TRACE "Get rf:%r,vap:%v %K %s from ZEVCFG ret=%e. index = %i\n"
#define ARC_TRACE "request oid=%q roid=%o cmp=%c\n"
// An on/off object: 1 = disabled, 2 = enabled.
#define SWITCH .range = between(1, 2), .words = SWITCH_WORDS
// An item that only the store itself makes: without it "-1" shows and a SET has no effect.
#define IF_STORED .missing = "-1", .optional = true
#define STATIC_IPV6 item("state", "enable") & item("mode", "static")
#define STATIC_IPV6_ADDRESS(key_) \
    .range = between(2, 39), .form = IPV6_ADDRESS, .group = "ipv6", .key = key_, .needs = STATIC_IPV6
#define CONTROLLER(key_)                                                                             \
    .range = between(0, 15), .form = IPV4_ADDRESS, .or_empty = true, .group = "capwap", .key = key_, \
    .needs = unless_off("discovery.unicast")
// The medium access of a traffic class, a group of the store each.
#define WME_WINDOW(group_, key_)                           \
    .range = between(0, 15), .group = group_, .key = key_, \
    .trace = " Get " group_ " " key_ ":%s from ZEVCFG.\n"
#define WME_AIFS(group_)                                                      \
    .range = between(0, 15), .unit = "slots", .group = group_, .key = "aifs", \
    .trace = " Get " group_ " AIFS:%s from ZEVCFG.\n"
#define WME_TXOP(group_)                                                          \
    .range = between(0, 8192), .unit = "us", .group = group_, .key = "txoplimit", \
    .trace = " Get " group_ " TXOP Limit:%s from ZEVCFG.\n"
// The access category of frames of an 802.1p priority.
#define DOWNLINK_CATEGORY(key_, ...)                                                                \
    .range = between(0, 3), .words = ACCESS_CATEGORY_WORDS, .key = key_ __VA_OPT__(, ) __VA_ARGS__, \
    .codec = SHOWS_NUMBER, IF_STORED, .radios = PLAIN_RADIOS
#define OPTIONAL_IPV4(key_) \
    .range = exactly(0) | between(7, 15), .form = IPV4_ADDRESS, .or_empty = true, .key = key_
#define OPTIONAL_MAC(key_) \
    .range = exactly(0) | exactly(17), .form = MAC_ADDRESS, .or_empty = true, .key = key_
#define IPV4_MASK(key_) .range = between(0, 32), .unit = "bits", .key = key_
