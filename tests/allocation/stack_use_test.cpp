// SPDX-License-Identifier: MIT
// Clients call from threads with small stacks.

#include "allocation/driver_tree.hpp"
#include "support/raised_error.hpp"
#include "support/stack_use.hpp"

#include <gtest/gtest.h>

using namespace kt3::tests;

namespace {

constexpr std::size_t kMost = 32 * 1024;

} // namespace

TEST(StackUse, OfEveryCallOnASnapshotIsSmall) {
    DriverTree driver;
    for (int at = 1; at <= 100; ++at) {
        driver.allocation(std::to_string(at), at % 7, 1, 4096 * (at % 5));
    }
    std::uint32_t totals[KT3_SEGMENT_SLOTS];
    EXPECT_LE(stack_use_of([&] { get_segment_info_through_allocation(totals, 0, 1); }), kMost);
    _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 summary[ALLOCATION_SUMMARY_MAX];
    EXPECT_LE(stack_use_of([&] { get_device_allocation_summary_internal_ext1(summary, 0, 1); }), kMost);
    _GFX_ALLOCATION_RAW_LIST list = {};
    find_adapter adapters = {};
    EXPECT_LE(stack_use_of([&] { get_allocation_raw_list_internal(&list, &adapters); }), kMost);
    EXPECT_EQ(list.total_cnt, 100);
    _GFX_ALLOCATION_INFO result[KT3_MEMLEAK_GROUPS];
    EXPECT_LE(stack_use_of([&] { get_memleak_information(result, 0, 1); }), kMost);
    EXPECT_EQ(result[0].sum_count, 20);
}

TEST(StackUse, OfTheProcessMapIsSmall) {
    DriverTree driver;
    driver.va_device("1", "pid = 900001\nhandle = a0\n").process(900001, "viewer");
    _GFX_DEVICE_PID_MAP maps[ALLOCATION_SUMMARY_MAX];
    EXPECT_LE(stack_use_of([&] { get_device_pid_maps_internal(maps, 0, 1); }), kMost);
    EXPECT_STREQ(maps[0].name, "viewer");
}

TEST(StackUse, OfAPageThatRaisesAnErrorIsSmall) {
    DriverTree driver;
    driver.allocation("1", "handle=zz\n");
    std::vector<_GFX_ALLOCATION_INFO> records;
    std::string error;
    const auto walk = [&] {
        error = error_of<std::invalid_argument>([&] { get_current_allocation_data(records, 0, 1); });
    };
    EXPECT_LE(stack_use_of(walk), kMost);
    EXPECT_EQ(error, "stoi");
}
