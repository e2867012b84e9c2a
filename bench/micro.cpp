// The tree without its socket: dispatch, publishing of rows, rebuild. Needs a device root with a store in
// ZEVSIC_ROOT; `run` makes one.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "function/agent.h"
#include "function/rows.h"
#include "zevsic/dispatch.h"
#include "zevsic/trace.h"

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
