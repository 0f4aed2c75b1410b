// SPDX-License-Identifier: MIT
// One number from one driver node: the library beside the bare system calls and the usual ways of reading such a file.

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "scratch_folder.hpp"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

constexpr std::int32_t kEngineClock = 13;

// A driver directory with an engine clock, selected as the current adapter.
struct DriverDirectory {
    kt3::bench::ScratchFolder folder;
    std::string node = (folder.path() / "eclk").string();
    find_adapter record{};

    DriverDirectory() {
        std::ofstream(node) << "800\n";
        record.gpu_infos[0].info_fd = ::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        record.gpu_infos[0].hwmon_fd = -1;
        set_print_callback(nullptr);
        gpuinfo_select_new_chip(&record);
    }
    ~DriverDirectory() { ::close(directory()); }
    DriverDirectory(const DriverDirectory&) = delete;
    DriverDirectory& operator=(const DriverDirectory&) = delete;

    [[nodiscard]] int directory() const { return record.gpu_infos[0].info_fd; }
};

void bare_calls(benchmark::State& state) {
    const DriverDirectory driver;
    for (auto _ : state) {
        char text[64];
        const int file = ::openat(driver.directory(), "eclk", O_RDONLY | O_CLOEXEC);
        benchmark::DoNotOptimize(::read(file, text, sizeof text));
        ::close(file);
    }
}

void library(benchmark::State& state) {
    const DriverDirectory driver;
    for (auto _ : state) {
        benchmark::DoNotOptimize(gpuinfo_get_wyinfoFD_value_int(kEngineClock));
    }
}

void fopen_and_fscanf(benchmark::State& state) {
    const DriverDirectory driver;
    for (auto _ : state) {
        int value = 0;
        FILE* file = std::fopen(driver.node.c_str(), "r");
        benchmark::DoNotOptimize(std::fscanf(file, "%d", &value));
        std::fclose(file);
        benchmark::DoNotOptimize(value);
    }
}

void ifstream(benchmark::State& state) {
    const DriverDirectory driver;
    for (auto _ : state) {
        int value = 0;
        std::ifstream(driver.node) >> value;
        benchmark::DoNotOptimize(value);
    }
}

void page_search_by_bytes(benchmark::State& state) {
    const std::string page = std::string(400, 'x') + "vpp_dvfs_l_threshold:0x10\n" + std::string(86, 'y');
    const std::string key = "vpp_dvfs_l_threshold:0x";
    for (auto _ : state) {
        std::size_t at = 0;
        while (at != page.size() - key.size()) {
            std::size_t same = 0;
            while (same < key.size() && page[at + same] == key[same]) {
                ++same;
            }
            if (same == key.size()) {
                break;
            }
            ++at;
            benchmark::DoNotOptimize(at);
        }
    }
}

void page_search_by_library(benchmark::State& state) {
    const std::string page = std::string(400, 'x') + "vpp_dvfs_l_threshold:0x10\n" + std::string(86, 'y');
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            find_str_in_buffer(page.data(), static_cast<int32_t>(page.size()), "vpp_dvfs_l_threshold:0x"));
    }
}

BENCHMARK(bare_calls)->Name("node_read/floor_bare_calls");
BENCHMARK(library)->Name("node_read/library");
BENCHMARK(fopen_and_fscanf)->Name("node_read/peer_fopen_and_fscanf");
BENCHMARK(ifstream)->Name("node_read/peer_ifstream");
BENCHMARK(page_search_by_bytes)->Name("key_search/peer_byte_loop");
BENCHMARK(page_search_by_library)->Name("key_search/library");

} // namespace
