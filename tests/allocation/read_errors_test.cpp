// SPDX-License-Identifier: MIT
// Pages that cannot be read to their end, as when the driver gives up an object between open and read.

#include "allocation/driver_tree.hpp"
#include "support/faulty_reads.hpp"
#include "support/output_capture.hpp"

#include <gtest/gtest.h>

using namespace kt3::tests;

namespace {

constexpr const char* kPage = "handle=1f\nwidth=12\n";
constexpr const char* kSkipped = "Fail to read allocation info. skip...\n";

// A file that opens and whose first read fails.
void unreadable(DriverTree& driver, const std::string& path) {
    driver.kernel.directory(DriverTree::path(path));
}

} // namespace

TEST(ReadError, OfAnAllocationIsNoAllocationOfZeros) {
    DriverTree driver;
    driver.allocation("1", kPage).allocation("3", kPage);
    unreadable(driver, "allocations/2/info");
    std::vector<_GFX_ALLOCATION_INFO> records;
    OutputCapture output;
    EXPECT_EQ(get_current_allocation_data_try(records, 0, 1), -1);
    EXPECT_EQ(output.text(), kSkipped);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].handle, 0x1f);
}

TEST(ReadError, InTheMiddleOfAnAllocationsPageIsTriedAgain) {
    DriverTree driver;
    driver.allocation("1", kPage);
    std::vector<_GFX_ALLOCATION_INFO> records;
    OutputCapture output;
    const FaultyReads reads(10, 1);
    EXPECT_EQ(get_current_allocation_data(records, 0, 1), 0);
    EXPECT_EQ(output.text(), kSkipped);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].width, 12);
}

TEST(ReadError, OfADeviceEndsTheMap) {
    DriverTree driver;
    driver.va_device("1", "handle = a0\n").va_device("3", "handle = a0\n");
    unreadable(driver, "devices/2/info");
    _GFX_DEVICE_PID_MAP maps[ALLOCATION_SUMMARY_MAX];
    OutputCapture output;
    EXPECT_EQ(get_device_pid_maps_internal(maps, 0, 1), -1);
    EXPECT_EQ(output.text(), "Fail to read devices info. skip...\n");
    EXPECT_EQ(maps[0].handle, 0xa0);
    EXPECT_EQ(maps[1].handle, 0);
}

TEST(ReadError, OfACommandLineLeavesTheNameAsItWas) {
    DriverTree driver;
    driver.kernel.directory("/proc/900001/cmdline");
    driver.process(900002, "/usr/bin/viewer");
    char name[64] = "before";
    EXPECT_EQ(getPackageNameFromPid(900001, name, 64), -1);
    const FaultyReads reads(5, 2);
    EXPECT_EQ(getPackageNameFromPid(900002, name, 64), -1);
    EXPECT_STREQ(name, "before");
}

TEST(ReadError, AfterTheFirstArgumentOfACommandLineIsNotMet) {
    DriverTree driver;
    driver.process(900001, "first\nsecond");
    char name[64] = "";
    const FaultyReads reads(3, 2);
    EXPECT_EQ(getPackageNameFromPid(900001, name, 64), 0);
    EXPECT_STREQ(name, "first\n");
}

TEST(PiecewiseReads, GiveTheSamePages) {
    DriverTree driver;
    driver.allocation("1", kPage).va_device("1", "pid = 900001\nhandle = a0\n").process(900001, "/usr/bin/viewer");
    std::vector<_GFX_ALLOCATION_INFO> records;
    _GFX_DEVICE_PID_MAP maps[ALLOCATION_SUMMARY_MAX];
    const FaultyReads reads(3);
    EXPECT_EQ(get_current_allocation_data_try(records, 0, 1), 0);
    EXPECT_EQ(get_device_pid_maps_internal(maps, 0, 1), 0);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].handle, 0x1f);
    EXPECT_EQ(records[0].width, 12);
    EXPECT_EQ(maps[0].handle, 0xa0);
    EXPECT_STREQ(maps[0].name, "/usr/bin/viewer");
}
