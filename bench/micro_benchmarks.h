// What is measured inside one process, and the service that it is measured with.
//
// The module and the host's platform are the ones that an agent loads. The symbols of the executable come before
// theirs, so that it only has to define what is to be different: the transport, which hands over a reply that lies
// ready; the sinks of traces, which take a record and forget it; the mark of NPV mode, which is there; and malloc,
// which counts.
#pragma once

#include <functional>
#include <string>
#include <vector>

struct bench_case {
    std::string name;
    std::function<void()> run; // once; ends the process when the module does not answer as it must
    bool is_read;              // asks once, and does not allocate
};

// The cases, for a registry of so many features; or only those that depend on how many they are, because they go
// through the registry.
std::vector<bench_case> bench_cases(size_t features, bool scans_only = false);

// Gives the client library a registry of so many features, unless it has it already.
void read_registry(size_t features);

// The name of the feature in that place of the registry.
std::string feature_name(size_t place);

// What a case asks of the service and the sinks.
struct bench_settings {
    bool tracing;    // history and debug output are on
    bool rows_exist; // else a GET finds none
    bool counting;   // instructions: those of the transport are left out
};
inline bench_settings settings;

// What has been done since this was last reset.
struct bench_usage {
    size_t requests;
    size_t allocations; // without the transport's
};
inline bench_usage usage;
