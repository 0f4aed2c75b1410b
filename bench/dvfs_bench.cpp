// SPDX-License-Identifier: MIT
// A full read of the power-management registers, beside the system calls that it cannot do without and beside a
// reading through stdio and sscanf.

#include "bench_adapter.hpp"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <unistd.h>

using kt3::bench::BenchAdapter;

namespace {

struct Node {
    const char* name;
    const char* text;
};
constexpr Node kNodes[] = {
    {"power_mode", "power_mode:0x3\n"},
    {"pwm_wait_count", "pg_3d:0x10 cg_3d:0x20 pg_vcp:0x30 cg_vcp:0x40 pg_vpp:0x50 cg_vpp:0x60\n"},
    {"dvfs_mode", "dvfs_mode:0x1\n"},
    {"dvfs_control_params", "gfx_dvfs_checksize:0x1\ngfx_dvfs_h_threshold:0x2\ngfx_dvfs_l_threshold:0x3\n"
                            "vcp0_dvfs_checksize:0x4\nvcp0_dvfs_h_threshold:0x5\nvcp0_dvfs_l_threshold:0x6\n"
                            "vcp1_dvfs_checksize:0x7\nvcp1_dvfs_h_threshold:0x8\nvcp1_dvfs_l_threshold:0x9\n"
                            "vpp_dvfs_checksize:0xa\nvpp_dvfs_h_threshold:0xb\nvpp_dvfs_l_threshold:0xc\n"},
    {"dvfs_clk_voltage", "gfx_clock:1200\ngfx_voltage:900\n"},
    {"vclk", "700\n"},
    {"mclk", "1600\n"},
    {"dvfs_level", "dvfs_level:balance\n"},
};

const BenchAdapter& adapter() {
    static const BenchAdapter shared;
    static const bool published = [] {
        for (const Node& node : kNodes) {
            shared.node(node.name, node.text);
        }
        return true;
    }();
    benchmark::DoNotOptimize(published);
    return shared;
}

void system_calls_alone(benchmark::State& state) {
    const int directory = adapter().directory();
    char buffer[512];
    for (auto _ : state) {
        for (const Node& node : kNodes) {
            const int file = ::openat(directory, node.name, O_RDONLY | O_CLOEXEC);
            benchmark::DoNotOptimize(::read(file, buffer, sizeof buffer));
            ::close(file);
        }
    }
}
BENCHMARK(system_calls_alone)->Name("register_read/floor_system_calls");

void full_register_read(benchmark::State& state) {
    adapter();
    _GPU_DVFS_REGISTER_DATA record = {};
    for (auto _ : state) {
        gpuinfo_get_data_from_dvfs_register(&record);
        benchmark::DoNotOptimize(record);
    }
    if (record.vpp_dvfs_l_threshold != 12 || record.gfx_voltage != 900) {
        state.SkipWithError("the registers were not read");
    }
}
BENCHMARK(full_register_read)->Name("register_read/library");

void plain_stdio_reading(benchmark::State& state) {
    const int directory = adapter().directory();
    char buffer[513];
    for (auto _ : state) {
        for (const Node& node : kNodes) {
            std::memset(buffer, 0, sizeof buffer);
            FILE* stream = ::fdopen(::openat(directory, node.name, O_RDONLY | O_CLOEXEC), "r");
            benchmark::DoNotOptimize(std::fread(buffer, 1, 512, stream));
            std::fclose(stream);
            for (const char* at = std::strchr(buffer, ':'); at != nullptr; at = std::strchr(at + 1, ':')) {
                unsigned value = 0;
                benchmark::DoNotOptimize(std::sscanf(at + 1, "%x", &value));
            }
        }
    }
}
BENCHMARK(plain_stdio_reading)->Name("register_read/peer_stdio");

} // namespace
