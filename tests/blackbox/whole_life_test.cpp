// SPDX-License-Identifier: MIT
// One client from loading to unloading, on a simulated machine, through exported names only.

#include "blackbox/loaded_library.hpp"
#include "support/descriptors.hpp"
#include "support/fake_kernel.hpp"
#include "support/offered_module.hpp"
#include "support/output_capture.hpp"

#include <gtest/gtest.h>
#include <stdexcept>

#include "stand_in_paths.hpp"

using namespace kt3::tests;

namespace {

constexpr const char* kModule = KT3_STAND_IN_MODULES "/libvorlakeinterface_v2.so.0.0.0";

} // namespace

TEST(WholeLife, LoadFindBindReadExitUnload) {
    FakeKernel kernel;
    auto adapter = kernel.adapter("0000:03:00.0", Family::newer);
    adapter.node("eclk", "800\n").node("enable_usage", "0\n").hwmon("temp1_input", "45 *C\n");
    const OfferedModule module(kModule);
    LoadedLibrary library;
    KT3_EXPORTED(library, set_print_callback)(nullptr);

    find_adapter record{};
    record.vendor_filter = 0xFFFF;
    EXPECT_EQ(KT3_EXPORTED(library, gfx_find_adapter)(&record), 0);
    ASSERT_EQ(record.chip_num, 1);
    find_adapter_ext1 ext1{};
    EXPECT_EQ(KT3_EXPORTED(library, gfx_find_adapter_ext1)(&ext1), 0);
    EXPECT_EQ(ext1.bus[0].bus, 3);

    EXPECT_EQ(KT3_EXPORTED(library, gfx_global_init)(&record), 0x5C0E);
    EXPECT_EQ(kernel.text(adapter.node_path("enable_usage")), "1");
    std::uint32_t clocks[3] = {9, 9, 9};
    EXPECT_EQ(KT3_EXPORTED(library, get_dvfs_info)(clocks), 0);
    EXPECT_EQ(clocks[0], 800U);
    EXPECT_EQ(clocks[1], 0U);
    std::uint32_t status = 0;
    EXPECT_EQ(KT3_EXPORTED(library, gpuinfo_get_temparature_value_int)(&status), 45U);

    EXPECT_EQ(KT3_EXPORTED(library, gfx_global_exit)(0), 0);
    EXPECT_EQ(kernel.text(adapter.node_path("enable_usage")), "0");
    EXPECT_EQ(*KT3_EXPORTED(library, pdev), nullptr);
}

TEST(WholeLife, AnErrorOfTheStandardLibraryReachesTheClient) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer).debugfs("allocations/1/info", "handle=zz\n");
    const OfferedModule module(kModule);
    LoadedLibrary library;
    KT3_EXPORTED(library, set_print_callback)(nullptr);
    find_adapter record{};
    record.vendor_filter = 0xFFFF;
    KT3_EXPORTED(library, gfx_find_adapter)(&record);
    ASSERT_EQ(KT3_EXPORTED(library, gfx_global_init)(&record), 0x5C0E);
    const int before = open_descriptors();
    _GFX_ALLOCATION_INFO groups[15] = {};
    try {
        KT3_EXPORTED(library, get_memleak_info)(groups);
        FAIL() << "nothing thrown";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "stoi");
    }
    EXPECT_EQ(open_descriptors(), before);
    KT3_EXPORTED(library, gfx_global_exit)(0);
}

TEST(WholeLife, EveryReadingCallIsHarmlessBeforeAnythingIsBoundAndAfterExit) {
    FakeKernel kernel;
    OutputCapture output;
    LoadedLibrary library;
    KT3_EXPORTED(library, set_print_callback)(nullptr);
    for (int round = 0; round < 2; ++round) {
        std::uint32_t clocks[3];
        EXPECT_EQ(KT3_EXPORTED(library, get_dvfs_info)(clocks), 0);
        _GPU_DVFS_REGISTER_DATA registers{};
        std::uint32_t flag = 0;
        EXPECT_EQ(KT3_EXPORTED(library, get_data_from_dvfs_register)(&registers, &flag), 0);
        EXPECT_EQ(KT3_EXPORTED(library, set_data_to_dvfs_register)(&registers), 0);
        EXPECT_EQ(KT3_EXPORTED(library, gfxbusy_init)(), -1);
        _GFX_BUSY_INFO busy{};
        EXPECT_EQ(KT3_EXPORTED(library, get_gpubusy_info)(&busy), 0);
        EXPECT_EQ(KT3_EXPORTED(library, fps_init)(), 0);
        _GFX_FRAME_RATES rates{};
        EXPECT_EQ(KT3_EXPORTED(library, get_fps_info)(&rates), -1);
        EXPECT_EQ(KT3_EXPORTED(library, bandwidth_init)(), -1);
        _GFX_BANDWIDTH_INFO bandwidth{};
        EXPECT_EQ(KT3_EXPORTED(library, get_bandwidth_info)(&bandwidth), 0);
        _GFX_SEGMENT_INFO segments{};
        EXPECT_EQ(KT3_EXPORTED(library, get_segment_info)(&segments), -1);
        _GFX_ALLOCATION_INFO groups[15] = {};
        EXPECT_EQ(KT3_EXPORTED(library, get_memleak_info)(groups), 0);
        _GFX_DEVICE_PID_MAP maps[50];
        EXPECT_EQ(KT3_EXPORTED(library, get_device_pid_maps)(maps), -1);
        std::uint32_t count = 77;
        EXPECT_EQ(KT3_EXPORTED(library, get_pagetable_data)(nullptr, &count), 0);
        EXPECT_EQ(count, 77U);
        EXPECT_EQ(KT3_EXPORTED(library, get_allocation_data)(nullptr, &count), 0);
        EXPECT_EQ(count, 77U);
        EXPECT_EQ(KT3_EXPORTED(library, gfx_global_exit)(0), 0);
    }
}
