// SPDX-License-Identifier: MIT
// Snapshots of the allocations and what is computed from them, beside the bare system calls that they cannot do without
// and the usual ways of doing the same.

#include "allocation/debug_tree.hpp"
#include "allocation/raw_list.hpp"
#include "allocation/snapshot.hpp"
#include "allocation/sums.hpp"
#include "listed_files.hpp"
#include "scratch_folder.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace kt3::allocation;
using kt3::bench::for_each_entry;
using kt3::bench::ScratchFolder;
using Record = _GFX_ALLOCATION_INFO;
namespace fs = std::filesystem;

constexpr const char* kKeys[] = {
    "width",       "height",        "pitch",         "bit_cnt",         "hw_format", "secured",   "tile",
    "segmentid",   "gpu_virt_addr", "bl_slot_index", "compress_format", "handle",    "device",    "size",
    "cpu_visible", "cache_type",    "pool_type",     "at_type",         "imported",  "fb_offset", "share"};

// Every key that is read, and three that are not.
std::string page_of(int number) {
    const std::string n = std::to_string(number);
    char hex[20];
    std::snprintf(hex, sizeof hex, "%x", number * 64);
    return "name=allocation " + n + "\nhandle=" + hex + "\ndevice=" + std::to_string(number % 12 + 1) +
           "\nwidth=1920\nheight=1080\npitch=7680\nbit_cnt=32\nsecured=0\nsize=" +
           std::to_string(4096 * (number % 50)) +
           "\ntile=1\ncpu_visible=1\ncache_type=2\npool_type=0\nat_type=" + std::to_string(number % 5) +
           "\nsegmentid=" + std::to_string(number % 6) + "\nhw_format=28\ncompress_format=0\nbl_slot_index=-1\n" +
           "gpu_virt_addr=" + std::to_string(0x100000000LL + number * 4096LL) +
           "\nimported=0\nfb_offset=" + std::to_string(number * 4096) + "\nshare=0\nowner=client\npinned=0\n";
}

// One tree per size for the whole run.
const std::string& allocations(std::int64_t count) {
    static std::map<std::int64_t, std::unique_ptr<ScratchFolder>> trees;
    std::unique_ptr<ScratchFolder>& tree = trees[count];
    if (tree == nullptr) {
        tree = std::make_unique<ScratchFolder>(kt3::bench::memory_folder());
        for (int at = 0; at < count; ++at) {
            tree->write("allocations/" + std::to_string(10000 + at) + "/info", page_of(at));
        }
    }
    return tree->path().native();
}

DebugTree tree_of(const benchmark::State& state) {
    return {allocations(state.range(0)).c_str(), true};
}

// The bare system calls: list, open, read once, close.
void bare_calls(benchmark::State& state) {
    const std::string directory = allocations(state.range(0)) + "/allocations";
    char page[4096];
    for (auto _ : state) {
        for_each_entry(directory, [&](int at, const char* name) {
            char path[300];
            ::stpcpy(::stpcpy(path, name), "/info");
            const int file = ::openat(at, path, O_RDONLY | O_CLOEXEC);
            benchmark::DoNotOptimize(::read(file, page, sizeof page));
            ::close(file);
        });
    }
}

// The same with the absolute path of every file, as a reader that builds paths opens them.
void bare_calls_by_full_path(benchmark::State& state) {
    const std::string directory = allocations(state.range(0)) + "/allocations";
    char page[4096];
    for (auto _ : state) {
        for_each_entry(directory, [&](int, const char* name) {
            char path[1024];
            std::snprintf(path, sizeof path, "%s/%s/info", directory.c_str(), name);
            const int file = ::open(path, O_RDONLY | O_CLOEXEC);
            benchmark::DoNotOptimize(::read(file, page, sizeof page));
            ::close(file);
        });
    }
}

void set_by_key_chain(Record& record, const char* key, const char* value) {
    auto* words = reinterpret_cast<std::int32_t*>(&record);
    for (std::size_t at = 0; at < std::size(kKeys); ++at) {
        if (std::strcmp(key, kKeys[at]) == 0) {
            words[at] =
                at == 11 ? std::stoi(value, nullptr, 16) : static_cast<std::int32_t>(std::strtol(value, nullptr, 10));
            return;
        }
    }
}

void parse_by_key_chain(Record& record, char* line) {
    char* equals = std::strchr(line, '=');
    if (equals != nullptr) {
        *equals = '\0';
        set_by_key_chain(record, line, equals + 1);
    }
}

void openat_one_read_key_chain(benchmark::State& state) {
    const std::string directory = allocations(state.range(0)) + "/allocations";
    char page[4097];
    for (auto _ : state) {
        std::vector<Record> records;
        for_each_entry(directory, [&](int at, const char* name) {
            const std::string path = std::string(name) + "/info";
            const int file = ::openat(at, path.c_str(), O_RDONLY | O_CLOEXEC);
            const ssize_t length = ::read(file, page, sizeof page - 1);
            ::close(file);
            page[std::max<ssize_t>(length, 0)] = '\0';
            Record record = {};
            char* rest = nullptr;
            for (char* line = ::strtok_r(page, "\n", &rest); line != nullptr; line = ::strtok_r(nullptr, "\n", &rest)) {
                parse_by_key_chain(record, line);
            }
            records.push_back(record);
        });
        benchmark::DoNotOptimize(records.data());
    }
}

void fopen_getline_key_chain(benchmark::State& state) {
    const std::string directory = allocations(state.range(0)) + "/allocations";
    for (auto _ : state) {
        std::vector<Record> records;
        for_each_entry(directory, [&](int, const char* name) {
            char path[1024];
            std::snprintf(path, sizeof path, "%s/%s/info", directory.c_str(), name);
            FILE* file = std::fopen(path, "re");
            Record record = {};
            char* line = nullptr;
            std::size_t room = 0;
            while (::getline(&line, &room, file) > 0) {
                parse_by_key_chain(record, line);
            }
            std::free(line);
            std::fclose(file);
            records.push_back(record);
        });
        benchmark::DoNotOptimize(records.data());
    }
}

void ifstream_map(benchmark::State& state) {
    const std::string directory = allocations(state.range(0)) + "/allocations";
    for (auto _ : state) {
        std::vector<std::map<std::string, std::string>> records;
        for (const auto& entry : fs::directory_iterator(directory)) {
            std::ifstream file(entry.path() / "info");
            std::map<std::string, std::string>& record = records.emplace_back();
            for (std::string line; std::getline(file, line);) {
                const std::size_t equals = line.find('=');
                record[line.substr(0, equals)] = line.substr(equals + 1);
            }
        }
        benchmark::DoNotOptimize(records.data());
    }
}

void snapshot(benchmark::State& state) {
    for (auto _ : state) {
        Records records;
        benchmark::DoNotOptimize(take_snapshot(tree_of(state), records));
    }
}

void segment_totals(benchmark::State& state) {
    std::uint32_t totals[KT3_SEGMENT_SLOTS];
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_segment_totals(tree_of(state), totals));
    }
}

void device_summary(benchmark::State& state) {
    static _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 summary[ALLOCATION_SUMMARY_MAX];
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_summary(tree_of(state), SummaryExt1(summary)));
    }
}

void raw_list_first_slice(benchmark::State& state) {
    static _GFX_ALLOCATION_RAW_LIST list;
    for (auto _ : state) {
        list.trasfer_cnt = 0;
        benchmark::DoNotOptimize(answer_raw_list(tree_of(state), list));
    }
}

#define KT3_SIZES ->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond)
BENCHMARK(bare_calls)->Name("snapshot/floor_bare_calls") KT3_SIZES;
BENCHMARK(snapshot)->Name("snapshot/library") KT3_SIZES;
BENCHMARK(segment_totals)->Name("segment_totals/library") KT3_SIZES;
BENCHMARK(device_summary)->Name("device_summary/library") KT3_SIZES;
BENCHMARK(raw_list_first_slice)->Name("raw_list_first_slice/library") KT3_SIZES;
BENCHMARK(openat_one_read_key_chain)->Name("snapshot/peer_one_read_key_chain") KT3_SIZES;
BENCHMARK(bare_calls_by_full_path)->Name("snapshot/floor_bare_calls_by_full_path") KT3_SIZES;
BENCHMARK(fopen_getline_key_chain)->Name("snapshot/peer_getline_key_chain") KT3_SIZES;
BENCHMARK(ifstream_map)->Name("snapshot/peer_ifstream_map") KT3_SIZES;

} // namespace
