// SPDX-License-Identifier: MIT
// The process map, beside the two bare reads per device that it cannot do without.

#include "allocation/process_map.hpp"
#include "listed_files.hpp"
#include "scratch_folder.hpp"

#include <benchmark/benchmark.h>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace kt3::allocation;
using kt3::bench::for_each_entry;
using kt3::bench::ScratchFolder;

// One device for each of 49 processes, which live as long as the program; a fiftieth would bring a message.
class Devices {
public:
    Devices() {
        for (pid_t& child : children_) {
            child = ::fork();
            if (child == 0) {
                ::prctl(PR_SET_PDEATHSIG, SIGKILL);
                for (;;) {
                    ::pause();
                }
            }
            const std::string pid = std::to_string(child);
            folder_.write("devices/" + pid + "/info", "name = client\npid = " + pid + "\nhandle = a0\n");
        }
    }
    ~Devices() {
        for (const pid_t child : children_) {
            ::kill(child, SIGKILL);
            ::waitpid(child, nullptr, 0);
        }
    }
    Devices(const Devices&) = delete;
    Devices& operator=(const Devices&) = delete;
    [[nodiscard]] const std::filesystem::path& path() const { return folder_.path(); }

private:
    ScratchFolder folder_{kt3::bench::memory_folder()};
    pid_t children_[ALLOCATION_SUMMARY_MAX - 1] = {};
};

const Devices& devices() {
    static const Devices all;
    return all;
}

void two_bare_reads_per_device(benchmark::State& state) {
    const std::string directory = devices().path() / "devices";
    char page[4096];
    const auto read_once = [&page](int at, const char* path) {
        const int file = ::openat(at, path, O_RDONLY | O_CLOEXEC);
        benchmark::DoNotOptimize(::read(file, page, sizeof page));
        ::close(file);
    };
    for (auto _ : state) {
        for_each_entry(directory, [&](int at, const char* name) {
            char path[300];
            ::stpcpy(::stpcpy(path, name), "/info");
            read_once(at, path);
            std::snprintf(path, sizeof path, "/proc/%s/cmdline", name);
            read_once(AT_FDCWD, path);
        });
    }
}

void process_map(benchmark::State& state) {
    static _GFX_DEVICE_PID_MAP maps[ALLOCATION_SUMMARY_MAX];
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_process_map({devices().path().c_str(), true}, ProcessMap(maps)));
    }
}

BENCHMARK(two_bare_reads_per_device)->Name("process_map/floor_two_bare_reads")->Unit(benchmark::kMicrosecond);
BENCHMARK(process_map)->Name("process_map/library")->Unit(benchmark::kMicrosecond);

} // namespace
