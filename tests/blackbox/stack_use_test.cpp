// SPDX-License-Identifier: MIT
// How much stack the client calls need. The machine is found through the three calls below instead of the path shim,
// which needs more stack than the library.

#include "blackbox/loaded_library.hpp"
#include "blackbox/stack_use.hpp"
#include "summary/fake_dmidecode.hpp"
#include "support/offered_module.hpp"
#include "support/stand_in_libdrm.hpp"

#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "stand_in_paths.hpp"

namespace fs = std::filesystem;
using namespace kt3::tests;

namespace {

constexpr std::size_t kMostBytes = 32 * 1024;

std::string g_machine; // the folder of the simulated machine; empty for none

const char* on_machine(const char* path) {
    static char place[4096];
    for (const char* simulated : {"/sys/", "/dev/dri/", "/proc/gpuinfo_"}) {
        if (!g_machine.empty() && std::strncmp(path, simulated, std::strlen(simulated)) == 0) {
            std::snprintf(place, sizeof place, "%s%s", g_machine.c_str(), path);
            return place;
        }
    }
    return path;
}

// A machine of the older family with allocations, heaps and clients, and a home.
class Machine {
public:
    Machine() {
        std::string pattern = (fs::temp_directory_path() / "kt3-stack-XXXXXX").string();
        folder_ = ::mkdtemp(pattern.data());
        EXPECT_EQ(std::system((KT3_SIM " tree vm-small " + (folder_ / "machine").string()).c_str()), 0);
        fs::create_directories(folder_ / ".local/share");
        ::setenv("HOME", folder_.c_str(), 1);
        g_machine = (folder_ / "machine").string();
    }
    ~Machine() {
        g_machine.clear();
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

private:
    fs::path folder_;
};

template<typename Call>
void expect_little(const char* name, Call call) {
    EXPECT_LE(StackUse::of(call), kMostBytes) << name;
}

} // namespace

extern "C" int openat(int directory, const char* path, int flags, ...) {
    return static_cast<int>(::syscall(SYS_openat, directory, on_machine(path), flags, 0600));
}

extern "C" int open(const char* path, int flags, ...) {
    return openat(AT_FDCWD, path, flags);
}

extern "C" DIR* opendir(const char* path) {
    return ::fdopendir(openat(AT_FDCWD, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

TEST(StackUse, IsSeenWhereverAByteIsTouched) {
    EXPECT_LT(StackUse::of([] {}), 1024U);
    EXPECT_GE(StackUse::of([] {
                  [[maybe_unused]] volatile char deep[kMostBytes];
                  deep[0] = 1;
              }),
              kMostBytes);
}

#define EXPECT_LITTLE(name, ...) expect_little(#name, [&] { KT3_EXPORTED(library, name)(__VA_ARGS__); })

// In an order in which each call finds something to do.
TEST(StackUse, OfEveryCallThatReadsNoDumpIsAtMost32KiB) {
    const Machine machine;
    const FakeDmidecode tool(memory_device("64", "A", "DDR5"));
    const StandInLibdrm drm("whole", "pci=0000:02:00.0,1f41:5c01,0");
    const OfferedModule module(KT3_STAND_IN_MODULES "/libkt3keinterface_v2.so.0.0.0");
    const LoadedLibrary library;

    static _GFX_INTERFACE_VERSION version;
    EXPECT_LITTLE(get_interface_version_ext1, &version);
    EXPECT_LITTLE(lib_print_func, "%1000s\n", "text");

    static find_adapter record;
    static find_adapter_ext1 ext1;
    record.vendor_filter = 0xFFFF;
    EXPECT_LITTLE(gfx_find_adapter, &record);
    ASSERT_EQ(record.chip_num, 1);
    EXPECT_LITTLE(gfx_find_adapter_ext1, &ext1);
    EXPECT_LITTLE(gfx_global_init, &record);
    ASSERT_NE(*KT3_EXPORTED(library, pdev), nullptr);

    static _UTIL_GPU_PREFERENCE_NODE preference;
    std::int32_t preferences = 1;
    std::strcpy(preference.FullPath, "/usr/bin/game");
    EXPECT_LITTLE(set_gpu_preference, &preference);
    EXPECT_LITTLE(get_gpu_preference, &preference, &preferences);
    EXPECT_LITTLE(remove_gpu_preference, &preference);

    std::uint32_t number = 0;
    std::uint32_t clocks[3];
    std::int64_t timestamp = 0;
    std::int64_t scans = 0;
    static _GPU_DVFS_REGISTER_DATA registers;
    EXPECT_LITTLE(get_dvfs_info, clocks);
    EXPECT_LITTLE(gpuinfo_get_hwmonFD_value_int, 0, &number);
    EXPECT_LITTLE(gpuinfo_get_temparature_value_int, &number);
    EXPECT_LITTLE(gpuinfo_get_fps_count, &number, &timestamp, &scans);
    EXPECT_LITTLE(gpuinfo_set_misc_ctl_flag, 1, 1);
    EXPECT_LITTLE(get_data_from_dvfs_register, &registers, &number);
    ++registers.gfx_clock;
    EXPECT_LITTLE(set_data_to_dvfs_register, &registers);

    static _GPU_ADAPTER_SUMMARY summary;
    static _GPU_ADAPTER_SUMMARY_EXT2 extended;
    static _GFX_SEGMENT_INFO segments;
    EXPECT_LITTLE(get_adapter_summary, &summary, &record);
    EXPECT_LITTLE(get_adapter_summary_ext2, &extended, &record);
    EXPECT_LITTLE(segment_init, &record);
    EXPECT_LITTLE(get_segment_info, &segments);
    EXPECT_LITTLE(gpuinfo_get_segment_info, &segments);

    static _GFX_BUSY_INFO busy;
    static _GFX_FRAME_RATES rates;
    static _GFX_BANDWIDTH_INFO bandwidth;
    EXPECT_LITTLE(gfxbusy_init);
    EXPECT_LITTLE(get_gpubusy_info, &busy);
    EXPECT_LITTLE(fps_init);
    EXPECT_LITTLE(get_fps_info, &rates);
    EXPECT_LITTLE(bandwidth_init);
    EXPECT_LITTLE(get_bandwidth_info, &bandwidth);

    static _GFX_DEVICE_PID_MAP maps[50];
    static _GFX_DEVICE_ALLOCATION_SUMMARY devices[50];
    static _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 devices_ext1[50];
    static _GFX_ALLOCATION_RAW_LIST raw_list;
    static _GFX_ALLOCATION_INFO groups[15];
    EXPECT_LITTLE(get_device_pid_maps, maps);
    EXPECT_LITTLE(get_device_allocation_summary, devices);
    EXPECT_LITTLE(get_device_allocation_summary_ext1, devices_ext1);
    EXPECT_LITTLE(get_allocation_raw_list, &raw_list, &record);
    EXPECT_LITTLE(get_memleak_info, groups);

    EXPECT_LITTLE(gfx_global_exit, 0);
}
