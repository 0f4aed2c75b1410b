// SPDX-License-Identifier: MIT
// Finding the adapters of a simulated machine: the library beside what must remain of it, the listing by libdrm and
// the opens of the descriptors that are kept.

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "machine.hpp"
#include "scratch_folder.hpp"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>
#include <xf86drm.h>

namespace {

using kt3::sim::Family;

// One adapter of each family, put in place of the kernel's file systems by the path shim.
struct TwoAdapters {
    kt3::bench::ScratchFolder folder;
    kt3::sim::Machine machine{folder.path()};

    TwoAdapters() {
        machine.adapter("0000:01:00.0", Family::newer).node("eclk", "800\n").debugfs_info("VA=1\n");
        machine.adapter("0000:03:00.0", Family::older).node("eclk", "800\n").debugfs_info("VA=0\n");
        ::setenv("KT3_SIM_ROOT", folder.path().c_str(), 1);
        set_print_callback(nullptr);
    }
};

void close_all(const find_adapter& record) {
    for (int slot = 0; slot < record.chip_num; ++slot) {
        const gpu_infos& adapter = record.gpu_infos[slot];
        for (const int descriptor : {record.drm_fd[slot], adapter.sysfs_fd, adapter.info_fd, adapter.hwmon_fd}) {
            ::close(descriptor);
        }
    }
}

int list_devices(drmDevicePtr (&devices)[8]) {
    drmGetDevices2(0, nullptr, 0);
    return drmGetDevices2(0, devices, 8);
}

void two_bare_listings(benchmark::State& state) {
    const TwoAdapters adapters;
    for (auto _ : state) {
        drmDevicePtr devices[8];
        const int count = list_devices(devices);
        drmFreeDevices(devices, count);
    }
}

// The listing, one version request per device and the opens that the record keeps.
void what_must_remain(benchmark::State& state) {
    const TwoAdapters adapters;
    for (auto _ : state) {
        drmDevicePtr devices[8];
        const int count = list_devices(devices);
        for (int i = 0; i < count; ++i) {
            const int node = ::open(devices[i]->nodes[DRM_NODE_RENDER], O_RDWR | O_CLOEXEC);
            drmFreeVersion(drmGetVersion(node));
            const char* folder = i == 0 ? "/sys/bus/pci/devices/0000:01:00.0" : "/sys/bus/pci/devices/0000:03:00.0";
            const int sysfs = ::open(folder, O_RDONLY | O_CLOEXEC);
            const int info = ::openat(sysfs, i == 0 ? "wy_info" : "qn_info", O_RDONLY | O_CLOEXEC);
            const int hwmon = ::openat(sysfs, i == 0 ? "hwmon/hwmon0" : "hwmon/hwmon1", O_RDONLY | O_CLOEXEC);
            const int debugfs = ::open(i == 0 ? "/sys/kernel/debug/dri/0/wy/info" : "/sys/kernel/debug/dri/1/qn/info",
                                       O_RDONLY | O_CLOEXEC);
            char text[128];
            benchmark::DoNotOptimize(::read(debugfs, text, sizeof text));
            for (const int descriptor : {debugfs, node, sysfs, info, hwmon}) {
                ::close(descriptor);
            }
        }
        drmFreeDevices(devices, count);
    }
}

void library(benchmark::State& state) {
    const TwoAdapters adapters;
    for (auto _ : state) {
        find_adapter record{};
        record.vendor_filter = 0xFFFF;
        gfx_find_adapter(&record);
        close_all(record);
    }
}

BENCHMARK(two_bare_listings)->Name("find_adapter/floor_two_bare_listings");
BENCHMARK(what_must_remain)->Name("find_adapter/floor_what_must_remain");
BENCHMARK(library)->Name("find_adapter/library");

} // namespace
