// The tree without its socket: dispatch, publishing of rows, rebuild. Needs a device root with a store in
// ZEVSIC_ROOT; `run` makes one.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "handler/groups.h"
#include "handler/objects.h"
#include "platform/device.h"
#include "tree/agent.h"
#include "tree/dispatch.h"
#include "tree/rows.h"
#include "tree/trace.h"

static snmp_request request;
static snmp_reply reply;

static snmp_reply *never_asked(snmp_reply *answer, mib_node *, uint8_t, const char *, char *, int) {
    return answer;
}

// A column of this program's own, behind all objects of the agent.
static mib_node *make_column() {
    ALLOC_NODE("200", TYPE_NONE, nullptr);
    mib_node *column = ALLOC_NODE("200.1", STRING, never_asked);
    column->update_bit = 0;  // always answered from the tree
    return column;
}

static void publish(mib_node *column, int64_t rows) {
    for (int row = 0; row < rows; row++) {
        const int arcs[2] = {1 + row / 64, 1 + row % 64};
        clear_reply(update_data_by_mulindex(&reply, column, "enable", arcs, 2));
    }
}

static int next_arc(const char **oid) {
    char *end;
    const long arc = strtol(*oid, &end, 10);
    *oid = *end ? end + 1 : end;
    return static_cast<int>(arc);
}

static void build_agent() {
    free_agent();
    init_norvalis();
}

static void dispatch(benchmark::State &state, RequestKind kind) {
    build_agent();
    publish(make_column(), state.range(0));
    request.type = kind;
    put_text(request.oid, std::string(ROOT_OID) + ".200.1.1.32");
    while (state.KeepRunning()) {
        snmp_exec(&reply, &request);
        if (reply.reply_status != STRING) state.SkipWithError("no answer");
        clear_reply(&reply);
    }
}
BENCHMARK_CAPTURE(dispatch, GET, KIND_GET)->Arg(64)->Arg(640)->Arg(6400);
BENCHMARK_CAPTURE(dispatch, GETNEXT, KIND_GETNEXT)->Arg(64)->Arg(640)->Arg(6400);

// A refresh of a live table: all rows are dropped and published again.
static void publish_rows(benchmark::State &state) {
    build_agent();
    mib_node *column = make_column();
    while (state.KeepRunning()) {
        publish(column, state.range(0));
        clear_child_node(column);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(publish_rows)->Arg(64)->Arg(640)->Arg(6400)->Unit(benchmark::kMicrosecond);

// Stations of radio 1, VAP 1 in the device's facts; their addresses come in no order. Answers the row of the
// last one.
static std::string list_stations(int64_t stations) {
    std::ofstream facts(device_path("/etc/k480ext.conf"));
    facts << "vap1.1.ifname = ath0ap0\n";
    char mac[18];
    char row[32];
    for (int64_t i = 0; i < stations; i++) {
        const uint32_t mixed = static_cast<uint32_t>(i) * 2654435761U;
        const unsigned b[] = {mixed >> 24, mixed >> 16 & 255, mixed >> 8 & 255, mixed & 255};
        snprintf(mac, sizeof mac, "02:00:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3]);
        snprintf(row, sizeof row, "2.0.%u.%u.%u.%u", b[0], b[1], b[2], b[3]);
        facts << "station = ath0ap0 " << mac << " 40 1234 5678\n";
    }
    return row;
}

// A refresh of a column of the station table, from the list of the built-in platform to the rows.
static void station_column(benchmark::State &state) {
    std::string device_facts;
    read_device_file("/etc/k480ext.conf", 1U << 20, &device_facts);
    const std::string last = list_stations(state.range(0));
    build_agent();
    mib_node *column = head;
    for (const int arc : {5, 1, 1, 6}) column = find_child(column, arc);
    while (state.KeepRunning()) {
        APReceivedStaSignalStrength(&reply, column, KIND_GET, last.c_str(), nullptr, 2);
        if (reply.reply_status != STRING) state.SkipWithError("the last station has no row");
        clear_reply(&reply);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    std::ofstream(device_path("/etc/k480ext.conf")) << device_facts;
}
BENCHMARK(station_column)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

// A refresh of a column kept in the store: each row's item is read and its cell published again.
static void store_column(benchmark::State &state, const char *instance, int64_t rows) {
    build_agent();
    request.type = KIND_GET;
    put_text(request.oid, std::string(ROOT_OID) + "." + instance);
    mib_node *column = head;
    while (column->kind != LEAF) column = find_child(column, next_arc(&instance));
    while (state.KeepRunning()) {
        column->update_bit = 1;
        column->update_stamp = 0;
        snmp_exec(&reply, &request);
        if (reply.reply_status != INTEGER) state.SkipWithError("no answer");
        clear_reply(&reply);
    }
    state.SetItemsProcessed(state.iterations() * rows);
}
BENCHMARK_CAPTURE(store_column, VAPDTIMperiod, "3.1.1.54.2.16", 32)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(store_column, VAPHS20EAPType, "3.2.1.12.1.3.1.2.2.16.5.4", 640)
    ->Unit(benchmark::kMicrosecond);

static void rebuild(benchmark::State &state) {
    while (state.KeepRunning()) build_agent();
}
BENCHMARK(rebuild)->Unit(benchmark::kMicrosecond);

int main(int argc, char **argv) {
    const char *root = getenv("ZEVSIC_ROOT");
    if (!root || !*root) {
        fprintf(stderr, "bench_micro: ZEVSIC_ROOT must name a device root\n");
        return 2;
    }
    debugLevel = 0;
    init_norvalis();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    free_agent();
    return 0;
}
