// SPDX-License-Identifier: MIT
// The virtual-memory nodes of allocations, read and handed out, beside the bare reads and a loop of standard
// conversions.

#include "dump_files.hpp"
#include "support/file_reading.hpp"
#include "vmdump/allocation_nodes.hpp"
#include "vmdump/debugfs_places.hpp"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <vector>

namespace {

using namespace kt3;

constexpr int kAllocations = 5'000;

const std::string& allocation_driver() {
    static const std::string driver = [] {
        for (int at = 0; at < kAllocations; ++at) {
            char name[32];
            std::snprintf(name, sizeof name, "%x", 0x1000 + at);
            std::string text = "allocation\n";
            for (int node = 0; node < 2; ++node) {
                text += "=====vm node info=====\ndevice_pid = 4711\ndevice_pname = game\ngpu_va = 0x7f0012340000\n"
                        "size = 0x200000\nflags = 0\n";
            }
            bench::run_folder().write(std::string("allocations/") + name + "/vm_info", text);
        }
        return bench::run_folder().path().string();
    }();
    return driver;
}

// The floor: every file opened, read to its end and closed.
void read_allocations(benchmark::State& state) {
    const std::string driver = allocation_driver();
    std::vector<char> buffer(16 * 1024);
    for (auto _ : state) {
        const support::Dir entries(::opendir((driver + "/allocations").c_str()));
        std::size_t bytes = 0;
        while (const dirent* entry = ::readdir(entries.get())) {
            const auto path = vmdump::file_path(driver.c_str(), "allocations", entry->d_name, "vm_info");
            bytes += support::read_page_at(AT_FDCWD, path.text, buffer.data(), buffer.size());
        }
        benchmark::DoNotOptimize(bytes);
    }
}

void walk_allocations(benchmark::State& state) {
    const std::string driver = allocation_driver();
    std::vector<allcation_Info> list;
    for (auto _ : state) {
        list.clear();
        vmdump::walk_allocation_nodes(driver.c_str(), list);
        benchmark::DoNotOptimize(list.data());
    }
}

// Node texts as a walk leaves them, as many as asked for.
std::vector<allcation_Info> many_nodes(benchmark::State& state) {
    std::vector<allcation_Info> list;
    for (std::int64_t at = 0; at < state.range(0); ++at) {
        char name[32];
        std::snprintf(name, sizeof name, "%x", 0x1000 + static_cast<unsigned>(at));
        list.push_back(vmdump::make_node("device_pid = 4711\ndevice_pname = game\ngpu_va = 0x7f0012340000\n"
                                         "size = 0x200000\n",
                                         name));
    }
    return list;
}

void copy_entries(benchmark::State& state) {
    const std::vector<_GFX_VM_ALLOCATION_DATA> from(static_cast<std::size_t>(state.range(0)));
    std::vector<_GFX_VM_ALLOCATION_DATA> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size() * sizeof from[0]);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}

void fill_entries(benchmark::State& state) {
    const std::vector<allcation_Info> list = many_nodes(state);
    std::vector<_GFX_VM_ALLOCATION_DATA> entries(list.size());
    for (auto _ : state) {
        vmdump::fill_entries(entries.data(), list);
        benchmark::ClobberMemory();
    }
}

void fill_entries_by_stoll(benchmark::State& state) {
    const std::vector<allcation_Info> list = many_nodes(state);
    std::vector<_GFX_VM_ALLOCATION_DATA> entries(list.size());
    for (auto _ : state) {
        _GFX_VM_ALLOCATION_DATA* entry = entries.data();
        for (const allcation_Info& node : list) {
            entry->pid = std::stoi(node.device_pid);
            entry->handle = std::stoll(node.handle, nullptr, 16);
            entry->size = std::stoll(node.size, nullptr, 16);
            entry->gpu_va = std::stoll(node.gpu_va, nullptr, 16);
            ++entry;
        }
        benchmark::ClobberMemory();
    }
}

BENCHMARK(read_allocations)->Name("node_walk/floor_bare_reads");
BENCHMARK(walk_allocations)->Name("node_walk/library");
BENCHMARK(copy_entries)->Name("node_export/floor_memcpy")->Arg(10'000)->Arg(100'000);
BENCHMARK(fill_entries_by_stoll)->Name("node_export/peer_stoll")->Arg(10'000)->Arg(100'000);
BENCHMARK(fill_entries)->Name("node_export/library")->Arg(10'000)->Arg(100'000);

} // namespace
