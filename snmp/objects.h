// The objects in their numeric order, each known by its place in it, and the keys of their rows.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "snmp/translate.h"

struct SubtreeObject {
    Oid oid;
    const Object *object;
    std::string text;  // of the OID
    size_t table;      // place of the first object of its table; its own for a scalar
    size_t most_rows;  // that it can have; 1 for a scalar
};

// Every object in numeric order.
const std::vector<SubtreeObject> &subtree_objects();

// Place of the object that an OID belongs to, or behind the last one that comes before it.
size_t object_at(const Oid &oid, bool *belongs);

// The arcs of an instance behind its object's OID: no row of the daemon has more, or one above 255.
struct RowKey {
    std::array<uint8_t, MOST_LEVELS> arcs{};
    uint8_t size = 0;

    const uint8_t *begin() const { return arcs.data(); }
    const uint8_t *end() const { return arcs.data() + size; }
    auto operator<=>(const RowKey &) const = default;
};
inline constexpr RowKey SCALAR = {.arcs = {0}, .size = 1};

// Of the object at a place.
const Object &object_of(size_t index);
bool is_scalar(size_t index);
bool is_slow(size_t index);

// The key of an instance of the object; none when no row can have these arcs.
std::optional<RowKey> key_of(const Oid &oid, size_t index);
Oid oid_of(size_t index, const RowKey &key);
std::string text_of(size_t index, const RowKey &key);
