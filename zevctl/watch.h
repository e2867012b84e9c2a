// zevctl watch: a table round after round, with what changed from one to the next.
#pragma once

#include <string>
#include <vector>

#include "zevctl/commands.h"
#include "zevctl/output.h"
#include "zevctl/table.h"

struct WatchOptions {
    double interval_s = 2;
    int count = 0;                     // rounds; 0: until Ctrl-C
    std::string sort;                  // a column's heading, or how it begins; empty: in the daemon's order
    std::vector<std::string> columns;  // as for a table
};

// The lines of a round: a summary, a heading, and the rows with those that are gone since the round before.
// `before` is null for the first round, `sort` −1 for no order of its own.
std::vector<std::string> round_lines(const Grid *before, const Grid &now, int sort);

// Ends with EXIT_DONE on Ctrl-C.
int watch(const Client &client, const View &view, const WatchOptions &options);
