// SPDX-License-Identifier: MIT
#include "allocation/bound_tree.hpp"

#include "allocation/driver_tree.hpp"
#include "support/log_capture.hpp"

#include <gtest/gtest.h>

using namespace kt3::tests;

namespace {

// Binds a chip in slot 1 whose driver reports the flag. No module is offered: the flag is taken over all the same.
void bind(find_adapter& record, std::int32_t is_va_driver) {
    record.current_index = 1;
    record.chip_id[1] = 0x5C05;
    record.IS_VA_driver[1] = is_va_driver;
    record.gpu_infos[1].info_fd = -1;
    record.gpu_infos[1].hwmon_fd = -1;
    const LogCapture quiet;
    gfx_global_init(&record);
}

} // namespace

TEST(BoundTree, ClientCallsReadDevicesByTheVaFlagOfTheBoundSlot) {
    for (const std::int32_t is_va_driver : {0, 1}) {
        DriverTree driver;
        driver.allocation("1", "handle=1\ndevice=10\nsize=5\n");
        driver.kernel.file(DriverTree::path("devices/7/7"), "handle = 70\n");
        driver.va_device("7", "handle = 71\n");
        find_adapter record = {};
        bind(record, is_va_driver);
        ASSERT_STREQ(sys_kernel_debug_ID_dri_ADAPTER_path, DriverTree::kDirectory);
        const std::int32_t device = is_va_driver != 0 ? 10 : 16;

        _GFX_DEVICE_ALLOCATION_SUMMARY plain[ALLOCATION_SUMMARY_MAX];
        EXPECT_EQ(get_device_allocation_summary(plain), 0);
        EXPECT_EQ(plain[0].device, device);

        _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 wide[ALLOCATION_SUMMARY_MAX];
        EXPECT_EQ(get_device_allocation_summary_ext1(wide), 0);
        EXPECT_EQ(wide[0].device, device);

        _GFX_ALLOCATION_INFO groups[KT3_MEMLEAK_GROUPS];
        EXPECT_EQ(get_memleak_info(groups), 0);
        EXPECT_EQ(groups[0].device, device);

        _GFX_DEVICE_PID_MAP maps[ALLOCATION_SUMMARY_MAX];
        EXPECT_EQ(get_device_pid_maps(maps), 0);
        EXPECT_EQ(maps[0].handle, is_va_driver != 0 ? 0x71 : 0x70);
    }
}

TEST(BoundTree, TheRawListGoesByTheRecordItIsGivenAndNotByTheBoundSlot) {
    DriverTree driver;
    driver.allocation("1", "device=10\n");
    find_adapter bound = {};
    bind(bound, 1);
    find_adapter other = {};
    _GFX_ALLOCATION_RAW_LIST list = {};
    EXPECT_EQ(get_allocation_raw_list(&list, &other), 0);
    EXPECT_EQ(list.list[0].device, 16);
}
