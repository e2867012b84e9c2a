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

// How the stored text becomes the value and the other way round, before and after the words. What is not said
// here stays as it is.
enum Codec : uint8_t {
    AS_STORED,
    SHOWS_NUMBER,      // shows the number that the text begins with
    WHOLE_NUMBER,      // shows a text that is a number, leading zeros or not, as that number
    PLAIN_NUMBER,      // as SHOWS_NUMBER, and stores a number in its shortest form
    THOUSANDS,         // stored a thousand times finer
    VLAN_ID,           // stores 4096, no VLAN, for 0
    VLAN_IN_USE,       // shows whether it is a VLAN id, 1 to 4094
    VLAN_OF_VAP,       // the same, 0 to 4094
    HEX_NUMBER,        // stored as four hexadecimal digits; shows nothing for a number out of the range
    HEX_TEXT,          // stored as two hexadecimal digits a character, sixteen characters
    COUNTED_FROM_ONE,  // stored counted from 0; 0 for no text
};

// A condition on another item of the object's group, as it is stored.
struct Need {
    const char *key = nullptr;
    bool is = true;  // the item is the text, or is not
    const char *text = "";
};

enum Radios : uint8_t { ALL_RADIOS, PLAIN_RADIOS, OFFLOAD_RADIOS };  // which kind of radio has a setting

// In which order a SET goes through its first steps.
enum SetOrder : uint8_t { TRACE_VALUE_ROW, VALUE_ROW_TRACE, ROW_VALUE_TRACE, ROW_TRACE_VALUE };

// A level of a table's row index.
struct Arc {
    const char *name = nullptr;  // for people
    char letter = '\0';          // names the number in patterns
    int low = 0, high = 255;     // where the numbers begin and, at most, end
    const char *index =
        nullptr;  // the object that shows the number; one that no list has is the MIB module's
};

constexpr size_t MOST_LEVELS = 6;  // of a row index: those of a MAC address

inline constexpr Arc RADIO_ARC = {"RADIO", 'r', 1, 2, "APRFIndex"};
inline constexpr Arc VAP_ARC = {"VAP", 'v', 1, 16, "VAPIndex"};
inline constexpr Arc LINK_ARC = {"LINK", 'v', 1, 8, "APWDSIndex"};
inline constexpr Arc BYTE_ARC = {"BYTE", 'b'};

// Patterns (group, key, trace texts) hold numbers and texts of the row: %r and %v the arcs of that letter; %k
// and %m the entry arcs counted from 0, as the store counts; %I %J %K %M the arcs by their place, counted
// from 0; in traces also %s the text, %e the result of the read, %i the first arc of the request, %q the
// instance requested, %o the row's, %c how they compare.
struct Table {
    const char *oid = "";   // of its entry
    const char *name = "";  // without "Table" and "Entry"
    std::array<Arc, MOST_LEVELS> arcs{};
    const char *group = "";       // pattern of the store's group of a row
    const char *trace = nullptr;  // of an item read
    const char *set_trace = "";   // of a SET
    SetOrder set_order = TRACE_VALUE_ROW;
    const char *size_key = nullptr;  // the item that tells how many rows there are; else all numbers are rows
    const char *size_name = nullptr;  // the variable of the rc environment that tells it first
    int predefined = 0;               // rows in front of the counted ones
    bool checks_first_arc = false;    // a GET with a first arc that no row has ends at once

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
    std::array<Range, 3> range{};    // of the number for integers, of the length for texts; alternatives
    std::array<Range, 2> numbers{};  // of a text that is a number; alternatives
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
    std::array<Need, 2> needs{};      // for a SET
    const char *set_trace = nullptr;  // in place of the table's
    bool instance_first = false;      // a SET checks the row before the value, in place of the table's order
    bool shows_arc = false;           // the last arc of its rows
    bool any_instance = false;        // a scalar that answers whatever arc is asked for
    bool in_kernel = false;           // rows only for VAPs that have an interface

    // What others must know.
    bool live = false;         // changes by itself: asked again when the sample time has passed
    bool slow = false;         // its handler runs tools or samples: an answer may take seconds
    bool acts = false;         // a SET does something at once
    bool conditional = false;  // a SET may be refused for the state of the device, beyond the needs
    bool secret = false;       // a key or password: shown only to those who ask for secrets
    bool transient = false;    // writable, but kept by the daemon only: no part of the configuration

    constexpr bool is_branch() const { return type == TYPE_NONE; }
    constexpr bool has_range() const { return range[0].is_set(); }
    // True when the number is within one of the ranges, or there is no range.
    constexpr bool in_range(int64_t number) const {
        if (!has_range()) return true;
        for (const Range &r : range)
            if (r.is_set() && r.has(number)) return true;
        return false;
    }
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

// Shorthands of the lists.
#define VAP_SECURITY "rf%r_vap%v_sec"
#define VAP_HOTSPOT "rf%r_vap%v_hs20"
#define READ_TRACE "ans= %s from ZEVCFG ret=%e.\n"
// An on/off object: 1 = disabled, 2 = enabled.
#define SWITCH .range = {{{1, 2}}}, .words = SWITCH_WORDS
// An item that only the store itself makes: without it "-1" shows and a SET has no effect.
#define IF_STORED .missing = "-1", .optional = true
