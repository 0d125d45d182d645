// The cases, timed by Google Benchmark with tracing off and on; those that go through the registry with more features
// as well.
//
//   vyn_micro_benchmarks [Google Benchmark's options]
//   valgrind --tool=callgrind --collect-atstart=no vyn_micro_benchmarks --count
//
// With --count each case runs once, after a run that warms it up, and what Callgrind has counted of it is dumped under
// its name: the module, the host's client library and what they call, without the transport. Standard output gets a
// line for each: its name, tracing, requests and allocations, separated by tabs. The first two cases are what the
// counting itself takes, of a case and of a request. Exit status 1 when a read has not asked once, or has allocated.

#include <cstdio>
#include <cstring>

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include "echo.h"
#include "micro_benchmarks.h"
#include "vyn_mib.h"

static constexpr size_t few_features = 10, many_features = 1000;

static bool count(const bench_case &each, const char *tracing) {
    const std::string name = each.name + "\t" + tracing;
    settings.tracing = strcmp(tracing, "on") == 0;
    each.run();
    usage = {};
    settings.counting = true;
    CALLGRIND_ZERO_STATS;
    CALLGRIND_TOGGLE_COLLECT;
    each.run();
    CALLGRIND_TOGGLE_COLLECT;
    settings.counting = false;
    const auto [requests, allocations] = usage;
    CALLGRIND_DUMP_STATS_AT(name.c_str());
    printf("%s\t%zu\t%zu\n", name.c_str(), requests, allocations);
    return !each.is_read || (requests == 1 && allocations == 0);
}

static void ask() {
    be32 query_type = VYN_SNMP_SET_DIST;
    u32 length = sizeof(query_type);
    cmi_req_resp(MTS_OPC_VYN_MGMT_REQ, VYN_MSG_SET, &query_type, nullptr, &length, "", 0, 0, mts_response_q, 0);
}

static int count_all() {
    read_registry(few_features);
    count({"nothing", [] {}, false}, "off");
    count({"request", ask, false}, "off");
    bool good = true;
    for (const char *tracing : {"off", "on"})
        for (const bench_case &each : bench_cases(few_features)) good &= count(each, tracing);
    return good ? 0 : 1;
}

// What a request costs at least: messages of the size of a read of vynPeersTable there and back, to a process that does
// nothing else.
static void round_trip(benchmark::State &state) {
    echo other;
    for (auto _ : state)
        if (!other.ask()) return state.SkipWithError("no answer");
}

static void register_benchmarks(size_t features) {
    for (const bench_case &each : bench_cases(features, features != few_features))
        for (bool tracing : {false, true}) {
            const std::string name = each.name + (features == few_features ? "" : " of " + std::to_string(features));
            const auto loop = [=](benchmark::State &state) {
                read_registry(features);
                settings.tracing = tracing;
                for (auto _ : state) each.run();
            };
            benchmark::RegisterBenchmark((name + (tracing ? "\ton" : "\toff")).c_str(), loop);
        }
}

int main(int argc, char **argv) {
    indxobj_create(&vyn_regions, 0, 1, vyn_mib_region_compare, 1);
    indxobj_create(&vyn_app_regions, 0, 1, vyn_mib_app_region_compare, 1);
    if (argc == 2 && strcmp(argv[1], "--count") == 0) return count_all();
    benchmark::RegisterBenchmark("bare round trip\toff", round_trip);
    register_benchmarks(few_features);
    register_benchmarks(many_features);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
}
