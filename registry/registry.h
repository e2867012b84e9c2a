// The objects of the subtree as data: one entry per branch, table and object in the lists of registry/groups,
// in registration order. An entry says all that is data about an object: OID, name, type, access, bounds,
// form, words, unit, where the store has it, what is traced, what others must know. The daemon registers,
// checks and serves from it; clients and the MIB module take names, words and bounds from it. No handler is
// linked for reading it.
//
// clang-format off
//   BRANCH(oid)
//   TABLE(oid, name, ...)                         the entry of a table; ... = members of `Table` in their order
//   OBJECT(oid, name, type, access, ...)          ... = members of `Object` in their order
//   SPECIAL(rule, oid, name, type, access, ...)   the same for an object with a rule of its own, a function
//                                                 of that name in handler/
// clang-format on
#pragma once

#include <iterator>
#include <string_view>

#include "registry/object.h"

#define BRANCH(oid_) Object{.oid = (oid_)},
#define TABLE(oid_, name_, ...) Object{.oid = (oid_)},
#define OBJECT(oid_, name_, type_, access_, ...) \
    Object{.oid = (oid_), .name = #name_, .type = (type_), .access = (access_)__VA_OPT__(, ) __VA_ARGS__},
#define SPECIAL(rule_, ...) OBJECT(__VA_ARGS__)
inline constexpr Object OBJECTS[] = {
#include "registry/groups/all.def"
};
#undef BRANCH
#undef TABLE
#undef OBJECT
#undef SPECIAL

#define BRANCH(oid_)
#define TABLE(oid_, name_, ...) Table{.oid = (oid_), .name = #name_, __VA_ARGS__},
#define OBJECT(oid_, name_, ...)
#define SPECIAL(rule_, ...)
inline constexpr Table TABLES[] = {
#include "registry/groups/all.def"
};
#undef BRANCH
#undef TABLE
#undef OBJECT
#undef SPECIAL

// The table whose column an object is, or null for a scalar.
constexpr const Table *table_of(const Object &object) {
    for (const Table &table : TABLES)
        if (object.entry_oid() == table.oid) return &table;
    return nullptr;
}

// How many arcs an instance of the object has.
constexpr int arc_count(const Object &object) {
    for (const Table &table : TABLES)
        if (object.entry_oid() == table.oid) return table.levels();
    return 1;
}

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

// "APSysName"_object is the object of that name; a name that none has does not compile.
consteval const Object *operator""_object(const char *name, size_t length) {
    const int i = object_index({name, length});
    if (i < 0) throw "no object has this name";
    return &OBJECTS[i];
}
