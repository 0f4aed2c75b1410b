// SPDX-License-Identifier: MIT
// The page tables of ten clients with their owners, beside ten runs of ps and the bare reads.

#include "dump_files.hpp"
#include "support/owned.hpp"
#include "vmdump/client_walk.hpp"
#include "vmdump/debugfs_places.hpp"
#include "vmdump/dump_reading.hpp"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace kt3;

constexpr int kClients = 10;

const std::string& client_driver() {
    static const std::string driver = [] {
        const std::string text = bench::dump_text(3'000);
        for (int at = 1; at <= kClients; ++at) {
            const std::string client = "clients/devices/0" + std::to_string(at) + "000000/";
            bench::run_folder().write(client + "vm_info", text);
            bench::run_folder().write(client + "info", "name = x\npid = " + std::to_string(::getpid()) + "\n");
        }
        return bench::run_folder().path().string() + "/clients";
    }();
    return driver;
}

// The floor: ps asked ten times, one after the other, and the files read.
void ask_ps_and_read_ten_clients(benchmark::State& state) {
    const std::string driver = client_driver();
    const vmdump::DumpBlock block;
    const std::string command = "ps -p " + std::to_string(::getpid()) + " -o comm=";
    for (auto _ : state) {
        const support::Dir entries(::opendir((driver + "/devices").c_str()));
        while (const dirent* entry = ::readdir(entries.get())) {
            if (entry->d_name[0] == '.') {
                continue;
            }
            for (const char* file : {"info", "vm_info"}) {
                const auto path = vmdump::file_path(driver.c_str(), "devices", entry->d_name, file);
                vmdump::read_in_blocks(path.text, block.bytes(),
                                       [](std::string_view text, bool) { return text.size(); });
            }
            const support::Pipe ps(::popen(command.c_str(), "re"));
            char answer[128];
            while (std::fgets(answer, sizeof answer, ps.get()) != nullptr) {
                benchmark::DoNotOptimize(answer);
            }
        }
    }
}

void walk_ten_clients(benchmark::State& state) {
    const std::string driver = client_driver();
    for (auto _ : state) {
        std::vector<data_vectors> list;
        vmdump::walk_clients(driver.c_str(), list);
        benchmark::DoNotOptimize(list.data());
    }
}

BENCHMARK(ask_ps_and_read_ten_clients)
    ->Name("ten_clients/floor_ps_and_reads")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(walk_ten_clients)->Name("ten_clients/library")->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
