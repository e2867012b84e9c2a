// The objects of the subtree as data: one line per branch and object in the lists of registry/groups, in
// registration order. A line says what is data about an object: OID, name, type, access, and as far as they
// are fixed its bounds, the words of its values and its unit. The daemon registers and checks from it; the
// clients and the MIB module take names, words and bounds from it. No handler is linked for reading it.
//
//   BRANCH(oid)
//   OBJECT(oid, name, type, access, ...)     ... = members of `Object` in their order: .range = {{0, 255}}
#pragma once

#include <array>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "registry/wire.h"
#include "registry/words.h"

enum Access : uint8_t { NO_ACCESS, READ_ONLY, READ_WRITE };

// Inclusive bounds: of the number for integers, of the length in characters for strings.
struct Range {
    int low = 0;
    int high = -1;  // low > high: no range
};

// What managers have an integer as: one of the type's own range, or a number that is never negative. A
// counter starts anew at 2^32, or is one that outgrows 32 bits within minutes on a busy radio.
enum Smi : uint8_t { BY_TYPE, GAUGE32, COUNTER32, COUNTER64 };

// Which instance arcs an object has.
enum Rows : uint8_t {
    SCALAR,           // 0
    ENTRY_ROWS,       // entry number
    RADIO_ROWS,       // radio
    VAP_ROWS,         // radio, VAP
    VAP_ENTRY_ROWS,   // radio, VAP, entry
    VAP_METHOD_ROWS,  // radio, VAP, realm entry, method entry
    LINK_ROWS,        // radio, WDS link
    MAC_ROWS,         // six bytes of a MAC address
};

struct Object {
    const char *oid = "";   // relative to ROOT_OID
    const char *name = "";  // empty for a branch
    ValueType type = TYPE_NONE;
    Access access = NO_ACCESS;
    std::array<Range, 3> range{};  // what a SET accepts; several ranges are alternatives
    Words words;
    const char *unit = "";
    Smi smi = BY_TYPE;
    bool secret = false;     // a key or password: shown only to those who ask for secrets
    bool transient = false;  // writable, but kept by the daemon only: no part of the configuration

    constexpr bool is_branch() const { return type == TYPE_NONE; }
    constexpr bool has_range() const { return range[0].low <= range[0].high; }
    // True when the number is within one of the ranges, or there is no range.
    constexpr bool in_range(int64_t number) const {
        if (!has_range()) return true;
        for (const Range &r : range)
            if (r.low <= r.high && number >= r.low && number <= r.high) return true;
        return false;
    }
    constexpr std::string_view entry_oid() const {  // the OID without its last arc
        const std::string_view text = oid;
        const size_t dot = text.rfind('.');
        return dot == std::string_view::npos ? std::string_view() : text.substr(0, dot);
    }
    constexpr Rows rows() const {
        const std::string_view entry = entry_oid();
        if (entry == "2.1.1") return RADIO_ROWS;
        if (entry == "3.1.1" || entry == "3.2.1") return VAP_ROWS;
        if (entry == "3.2.1.12.1.3.1") return VAP_METHOD_ROWS;
        if (entry.starts_with("3.")) return VAP_ENTRY_ROWS;
        if (entry == "4.1.1") return LINK_ROWS;
        if (entry == "5.1.1" || entry == "6.1.1") return MAC_ROWS;
        if (entry == "1.66.1" || entry == "1.67.1" || entry == "7.1.1" || entry == "7.2.1" ||
            entry == "7.4.1" || entry == "7.10.1")
            return ENTRY_ROWS;
        return SCALAR;
    }
};

// An on/off object: 1 = disabled, 2 = enabled.
#define SWITCH .range = {{{1, 2}}}, .words = &SWITCH_WORDS

#define BRANCH(oid_) Object{.oid = (oid_)},
#define OBJECT(oid_, name_, type_, access_, ...) \
    Object{.oid = (oid_), .name = #name_, .type = (type_), .access = (access_)__VA_OPT__(, ) __VA_ARGS__},
inline constexpr Object OBJECTS[] = {
#include "registry/groups/all.def"
};
#undef BRANCH
#undef OBJECT
#undef SWITCH

// Place of a named object in OBJECTS, or −1. Case matters.
constexpr int object_index(std::string_view name) {
    for (int i = 0; i < static_cast<int>(std::size(OBJECTS)); i++)
        if (!OBJECTS[i].is_branch() && name == OBJECTS[i].name) return i;
    return -1;
}

// The object of a name, or null.
constexpr const Object *find_object(std::string_view name) {
    const int i = object_index(name);
    return i < 0 ? nullptr : &OBJECTS[i];
}
