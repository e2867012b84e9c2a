// zevctl watch: the station table round after round, with what changed from one to the next.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "client/commands.h"
#include "client/names.h"

struct WatchOptions {
    double interval_s = 2;
    int count = 0;     // rounds; 0: until Ctrl-C
    std::string sort;  // a column's name as people write it; empty: by address
};

// The columns of the station table in the order of their registration; the first is the address.
const std::vector<const Object *> &station_columns();

// What a column is called here: its object's name without what all of them begin with.
std::string heading(const Object &column);

// The column that a text names: an object's name, or the beginning of a heading, in any case. Null when it is
// none, or the beginning of several.
const Object *find_station_column(const std::string &text);

// One round: instance → values in the order of the columns, empty when the row was not in the column.
using Stations = std::map<std::string, std::vector<std::string>>;

// The lines of a round: a summary, a heading, and the rows with those that are gone since the round before.
// `before` is null for the first round.
std::vector<std::string> round_lines(const Stations *before, const Stations &now, const Object *sort);

// Ends with EXIT_DONE on Ctrl-C. A round in which the table changed under the walk is left out.
int watch_stations(const Client &client, const WatchOptions &options);
