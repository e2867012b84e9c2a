// `zevctl metrics`: what a monitoring system wants of the access point, in the Prometheus text format. A
// value's unit and words come from the registry; names and units follow Prometheus' conventions: base units,
// `_total` counters.
#pragma once

#include <string>
#include <vector>

#include "zevctl/commands.h"

// The groups of metrics that can be asked for apart, each a run of its own tools on the device.
std::vector<std::string> metrics_collectors();

struct MetricsText {
    std::string text;
    std::string error;  // not empty: the daemon does not answer, or it did not tell everything in time
    bool up = false;    // the daemon answers
};

// Reads the collectors named, or all when there are none, for `limit_ms` at most; what was read until then
// counts.
MetricsText read_metrics(const Client &client, const std::vector<std::string> &collectors, int limit_ms);

int metrics(const Client &client, const std::vector<std::string> &collectors);

// Answers one HTTP/1.1 request, read from `in`, on `out`: GET or HEAD of /metrics, with collect[]=NAME for
// some of the collectors. Waits 5 s at most for the request and as long for the reading as its header
// X-Prometheus-Scrape-Timeout-Seconds says, 9.5 s without it. Ends the process after 90 s, whatever happens.
int serve_metrics(const Client &client, int in, int out);
