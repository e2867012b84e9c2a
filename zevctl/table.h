// `zevctl table`: the tables of the access point as people read them, and any columns side by side.
#pragma once

#include <string>
#include <vector>

#include "zevctl/commands.h"
#include "zevctl/output.h"
#include "zevctl/views.h"

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
