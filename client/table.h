// `zevctl table`: the tables of the access point as people read them, and any columns side by side.
#pragma once

#include <array>
#include <span>
#include <string>
#include <vector>

#include "client/commands.h"

// The values that one row of the tree has in a column's objects, in their order. An enumerated value is its
// word; a missing one is empty.
using Values = std::vector<std::string>;

// Limits a column to the rows where an object has one of these one-digit values.
struct When {
    const char *object = nullptr;
    const char *values = "";
};

struct ViewColumn {
    const char *heading;
    std::array<const char *, 16> objects = {};  // names, up to the first null
    When when = {};
    bool secret = false;
    std::string (*compose)(const Values &values) = nullptr;  // null: the first object's value
};

// A row per instance of the first column's objects. Objects with more arcs are lists within a row and stand
// in one cell.
struct View {
    const char *name;
    const char *key;  // heading of the instance, null when the columns say it
    int arcs;         // of the instance
    std::span<const ViewColumn> columns;
};

std::span<const View> views();

struct TableOptions {
    bool csv = false;
    bool secrets = false;
};
int print_view(const Client &client, const View &view, const TableOptions &options);

// A view by its name, or the columns and branches given.
int table(const Client &client, const std::vector<std::string> &names, const TableOptions &options);
