// SPDX-License-Identifier: MIT
// A warm extended summary beside the bare read of its page, and a warm short summary beside its four clock nodes.

#include "bench_adapter.hpp"

#include <benchmark/benchmark.h>
#include <unistd.h>

using kt3::bench::BenchAdapter;

namespace {

constexpr const char* kPage = "Driver Version : 1.2.3\nFirmware Version : 1.2.3.4\nFirmware Name : vorla firmware\n"
                              "Device ID : 0x5c00\nMax Display Port : 0x3\nSupport Display Type : DP HDMI\n"
                              "Pixel Fillrate : 11\nTexture Fillrate : 22\nMemory Clock Freq : 33\n"
                              "HDMI Max Display Resolution : 3840 x 2160@60\n"
                              "VGA Max Display Resolution : 1024 x 768@75\nGPU Memory Usage : 44\n"
                              "GPU Use Rate(3d) : 55\nGPU Use Rate(video) : 66\nGPU Use Rate(vpp) : 77\n"
                              "Realtime Temperature : 88\nBus Type : PCIE 3.0 x16\n";
constexpr const char* kClockNodes[] = {"eclk", "mclk", "vclk", "coreclk"};

const BenchAdapter& adapter() {
    static const BenchAdapter shared;
    static const bool published = [] {
        shared.proc_page(kPage);
        for (const char* node : kClockNodes) {
            shared.node(node, "800\n");
        }
        return true;
    }();
    benchmark::DoNotOptimize(published);
    return shared;
}

void bare_page_read(benchmark::State& state) {
    adapter();
    char buffer[1024];
    for (auto _ : state) {
        const int file = ::openat(AT_FDCWD, "/proc/gpuinfo_0", O_RDONLY | O_CLOEXEC);
        benchmark::DoNotOptimize(::read(file, buffer, sizeof buffer));
        ::close(file);
    }
}
BENCHMARK(bare_page_read)->Name("extended_summary/floor_page_read");

void warm_extended_summary(benchmark::State& state) {
    _GPU_ADAPTER_SUMMARY_EXT2 record = {};
    get_adapter_summary_ext2(&record, &adapter().record);
    for (auto _ : state) {
        get_adapter_summary_ext2(&record, &adapter().record);
        benchmark::DoNotOptimize(record);
    }
    if (record.temperature != 88) {
        state.SkipWithError("the page was not read");
    }
}
BENCHMARK(warm_extended_summary)->Name("extended_summary/library");

void bare_clock_nodes(benchmark::State& state) {
    const int directory = adapter().directory();
    char buffer[64];
    for (auto _ : state) {
        for (const char* node : kClockNodes) {
            const int file = ::openat(directory, node, O_RDONLY | O_CLOEXEC);
            benchmark::DoNotOptimize(::read(file, buffer, sizeof buffer));
            ::close(file);
        }
    }
}
BENCHMARK(bare_clock_nodes)->Name("summary/floor_clock_nodes");

void warm_summary(benchmark::State& state) {
    _GPU_ADAPTER_SUMMARY record = {};
    get_adapter_summary(&record, &adapter().record);
    for (auto _ : state) {
        get_adapter_summary(&record, &adapter().record);
        benchmark::DoNotOptimize(record);
    }
    if (record.memory_speed != 1600) {
        state.SkipWithError("the clocks were not read");
    }
}
BENCHMARK(warm_summary)->Name("summary/library");

} // namespace
