// `zevctl table`: the tables of the access point as people read them, and any columns side by side.
#pragma once

#include <array>
#include <span>
#include <string>
#include <vector>

#include "zevctl/commands.h"
#include "zevctl/output.h"

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
std::vector<const char *> view_names();
const View *find_view(std::string_view name);  // case apart; null when there is none

struct TableOptions {
    bool csv = false;
    bool vertical = false;
    bool secrets = false;
    std::vector<std::string> columns;  // headings, or what they begin with; empty: all
};
int print_view(const Client &client, const View &view, const TableOptions &options);

// Reads a view's rows; with units the headings name them. EXIT_USAGE when a column is none of the view.
int read_view(const Client &client, const View &view, const TableOptions &options, bool with_units,
              Grid *grid);

// The heading that a text names, or begins, case apart: its place, or −1 after a complaint.
int find_heading(const std::vector<std::string> &headings, const std::string &text);

// A view by its name, or the columns and branches given.
int table(const Client &client, const std::vector<std::string> &names, const TableOptions &options);
