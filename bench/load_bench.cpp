// SPDX-License-Identifier: MIT
// Loading the shared object into a fresh C client, beside an empty C++ library with the same dependencies.

#include <benchmark/benchmark.h>
#include <cstdio>
#include <string>

namespace {

// Nanoseconds that a new process takes to open the library; negative when it fails.
long long load_in_new_process(const char* library) {
    const std::string command = std::string(KT3_LOAD_CLIENT " ") + library + " 2>&1 >/dev/null";
    FILE* client = ::popen(command.c_str(), "re");
    long long nanoseconds = -1;
    if (client == nullptr || std::fscanf(client, "%lld", &nanoseconds) != 1) {
        nanoseconds = -1;
    }
    if (client != nullptr) {
        ::pclose(client);
    }
    return nanoseconds;
}

void load(benchmark::State& state, const char* library) {
    for (auto _ : state) {
        const long long nanoseconds = load_in_new_process(library);
        if (nanoseconds < 0) {
            state.SkipWithError("the library cannot be loaded");
            return;
        }
        state.SetIterationTime(static_cast<double>(nanoseconds) * 1e-9);
    }
}

BENCHMARK_CAPTURE(load, empty_library, KT3_EMPTY_LIBRARY)->Name("load/floor_empty_library")->UseManualTime();
BENCHMARK_CAPTURE(load, library, KT3_LIBRARY)->Name("load/library")->UseManualTime();

} // namespace
