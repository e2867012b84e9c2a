// The views: the tables of the access point as people think of them, made of objects.
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "registry/registry.h"

// The values that one row of the tree has in a column's objects, in their order. An enumerated value is its
// word; a missing one is empty.
using Values = std::vector<std::string>;

// Limits a column to the rows where an object has one of these one-digit values.
struct When {
    const Object *object = nullptr;
    const char *values = "";
};

struct ViewColumn {
    const char *heading;
    std::array<const Object *, 16> objects = {};  // up to the first null
    When when = {};
    std::string (*compose)(const Values &values) = nullptr;  // null: the first object's value

    constexpr bool is_secret() const { return objects[0]->secret; }
};

// A row per instance of the first column's objects. Objects with more arcs are lists within a row and stand
// in one cell.
struct View {
    const char *name;
    const char *key;  // heading of the instance, null when the columns say it
    std::span<const ViewColumn> columns;

    constexpr int arcs() const { return arc_count(*columns[0].objects[0]); }  // of the instance
};

std::span<const View> views();
std::vector<const char *> view_names();
const View *find_view(std::string_view name);  // case apart; null when there is none
