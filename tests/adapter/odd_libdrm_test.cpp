// SPDX-License-Identifier: MIT
// What the real libdrm does not do on a healthy machine: missing entry points, counts that change between two calls,
// holes in the list, other buses, drivers that refuse the version request.

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "support/descriptors.hpp"
#include "support/fake_kernel.hpp"
#include "support/log_capture.hpp"
#include "support/stand_in_libdrm.hpp"

#include <cstring>
#include <gmock/gmock.h>

using kt3::tests::FakeKernel;
using kt3::tests::Family;
using kt3::tests::LogCapture;
using kt3::tests::StandInLibdrm;
using testing::EndsWith;
using testing::IsEmpty;

namespace {

constexpr const char* kOne = "pci=0000:03:00.0,7a52:5c0e,0";
constexpr const char* kThree = "pci=0000:03:00.0,7a52:5c0e,0 pci=0000:04:00.0,7a52:5c02,1 pci=0000:05:00.0,1f41:5c01,2";

// The nodes and folders of the devices above.
struct ThreeAdapters {
    FakeKernel kernel;
    ThreeAdapters() {
        kernel.adapter("0000:03:00.0", Family::newer);
        kernel.adapter("0000:04:00.0", Family::newer, {.device = 0x5C02});
        kernel.adapter("0000:05:00.0", Family::older);
    }
};

find_adapter marked_record() {
    find_adapter record;
    std::memset(&record, 0x5A, sizeof record);
    record.vendor_filter = 0xFFFF;
    return record;
}

find_adapter enumerate() {
    find_adapter record{};
    record.vendor_filter = 0xFFFF;
    EXPECT_EQ(gfx_find_adapter(&record), 0);
    return record;
}

// Without this variant's entry point nothing is touched, whatever was loaded before.
void expect_untouched(const char* variant) {
    const ThreeAdapters machine;
    const StandInLibdrm drm(variant, kOne);
    LogCapture log;
    gpuinfo_control_enable = 7;
    find_adapter record = marked_record();
    const find_adapter before = record;
    EXPECT_EQ(gfx_find_adapter(&record), 0);
    EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0);
    EXPECT_EQ(gpuinfo_control_enable, 7);
    EXPECT_EQ(gpuinfo_vorla_init(), 0);
    EXPECT_EQ(gpuinfo_vorla_get_device_handles(&record), 0);
    EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0);
    EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

} // namespace

TEST(OddLibdrm, WithoutTheVersionRequestLeavesTheRecordUntouched) {
    expect_untouched("without-version");
}

TEST(OddLibdrm, WithoutADeviceListingLeavesTheRecordUntouched) {
    expect_untouched("without-devices");
}

TEST(OddLibdrm, WithoutTheReleaseOfDevicesLeavesTheRecordUntouched) {
    expect_untouched("without-free-devices");
}

TEST(OddLibdrm, WithoutTheReleaseOfVersionsWorksAllTheSame) {
    const ThreeAdapters machine;
    const StandInLibdrm drm("without-free-version", kOne);
    EXPECT_EQ(enumerate().chip_num, 1);
    EXPECT_EQ(drm.devices_held(), 0);
}

TEST(OddLibdrm, AnOlderOneListsThroughItsOnlyListing) {
    const ThreeAdapters machine;
    const StandInLibdrm drm("devices-only", kThree);
    const find_adapter record = enumerate();
    EXPECT_EQ(record.chip_num, 3);
    EXPECT_EQ(record.chip_id[1], 0x5C02);
    EXPECT_EQ(drm.devices_held(), 0);
    EXPECT_EQ(drm.versions_held(), 0);
}

TEST(OddLibdrm, MoreDevicesOnTheSecondCallThanReportedAreNotLookedAt) {
    const ThreeAdapters machine;
    const StandInLibdrm drm("whole", std::string(kThree) + " first=2 second=5");
    EXPECT_EQ(enumerate().chip_num, 2);
}

TEST(OddLibdrm, FewerDevicesOnTheSecondCallAreAllThereIs) {
    const ThreeAdapters machine;
    const StandInLibdrm drm("whole", std::string(kThree) + " first=3 second=1");
    EXPECT_EQ(enumerate().chip_num, 1);
}

TEST(OddLibdrm, AFailingSecondCallCountsAsNoDevice) {
    for (const char* second : {"second=0", "second=-13"}) {
        const ThreeAdapters machine;
        const StandInLibdrm drm("whole", std::string(kThree) + " first=3 " + second);
        gpuinfo_control_enable = 1;
        find_adapter record = marked_record();
        EXPECT_EQ(gfx_find_adapter(&record), 0);
        EXPECT_EQ(record.chip_num, 0);
        EXPECT_EQ(gpuinfo_control_enable, 0);
    }
}

TEST(OddLibdrm, AFailingFirstCallCountsAsNoDevice) {
    const ThreeAdapters machine;
    const StandInLibdrm drm("whole", std::string(kThree) + " first=-1");
    EXPECT_EQ(enumerate().chip_num, 0);
    EXPECT_EQ(gpuinfo_control_enable, 0);
}

TEST(OddLibdrm, HolesInTheListAreSkippedButCountAsPositions) {
    const ThreeAdapters machine;
    const StandInLibdrm drm("whole", std::string(kThree) + " null=1");
    const find_adapter record = enumerate();
    EXPECT_EQ(record.chip_num, 2);
    EXPECT_EQ(record.chip_id[1], 0x5C01);
}

TEST(OddLibdrm, ADeviceOnAnotherBusIsSkipped) {
    const ThreeAdapters machine;
    const StandInLibdrm drm("whole", std::string(kThree) + " usb=0");
    const find_adapter record = enumerate();
    EXPECT_EQ(record.chip_num, 2);
    EXPECT_EQ(record.chip_id[0], 0x5C02);
}

TEST(OddLibdrm, ADriverThatRefusesTheVersionRequestIsSkippedAndItsNodeClosed) {
    const ThreeAdapters machine;
    const StandInLibdrm drm("whole", std::string(kThree) + " no-version");
    LogCapture log;
    const find_adapter record = enumerate();
    EXPECT_EQ(record.chip_num, 0);
    EXPECT_EQ(record.drm_fd[0], 0);
    EXPECT_EQ(gpuinfo_control_enable, 1);
    EXPECT_THAT(LogCapture::lines(), testing::ElementsAre("find chip num:0, other vendor chip num:0\n"));
}

TEST(OddLibdrm, ADeviceThatOffersNoNodeIsSkipped) {
    const ThreeAdapters machine;
    const StandInLibdrm drm("whole", std::string(kOne) + " nodes=0,0");
    EXPECT_EQ(enumerate().chip_num, 0);
}

TEST(OddLibdrm, TakesTheCardNumberFromThePrimaryPathOfADeviceThatOffersOtherNodesOnly) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer, {.card = 5});
    kernel.foreign_gpu("0000:04:00.0", 0x10DE, {.device = 0x2484, .card = 6});
    const StandInLibdrm drm("whole", "pci=0000:03:00.0,7a52:5c0e,5 pci=0000:04:00.0,10de:2484,6 nodes=0,4 nodes=1,4");
    const find_adapter record = enumerate();
    EXPECT_EQ(record.chip_num, 1);
    EXPECT_EQ(record.drm_card_idx[0], 5);
    EXPECT_EQ(record.drm_card_idx[2], 6);
}

TEST(OddLibdrm, NodesAreTriedInTheOrderRenderControlPrimaryAmongThoseOffered) {
    const struct {
        int offered; // bits 1 primary, 2 control, 4 render
        const char* missing;
        const char* opened;
    } rows[] = {
        {7, nullptr, "/dev/dri/renderD128"}, {7, "/dev/dri/renderD128", "/dev/dri/controlD64"},
        {3, nullptr, "/dev/dri/controlD64"}, {5, "/dev/dri/renderD128", "/dev/dri/card0"},
        {1, nullptr, "/dev/dri/card0"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.opened);
        FakeKernel kernel;
        kernel.adapter("0000:03:00.0", Family::newer);
        kernel.file("/dev/dri/controlD64", "");
        if (row.missing != nullptr) {
            kernel.remove(row.missing);
        }
        const StandInLibdrm drm("whole", std::string(kOne) + " nodes=0," + std::to_string(row.offered));
        const find_adapter record = enumerate();
        ASSERT_EQ(record.chip_num, 1);
        EXPECT_THAT(kt3::tests::target_of(record.drm_fd[0]), EndsWith(row.opened));
    }
}

TEST(OddLibdrm, IsLoadedAfreshByEveryEnumeration) {
    const ThreeAdapters machine;
    const StandInLibdrm drm("whole", kOne);
    EXPECT_EQ(enumerate().chip_num, 1);
    EXPECT_EQ(enumerate().chip_num, 1);
    EXPECT_EQ(drm.devices_held(), 0);
    EXPECT_EQ(drm.versions_held(), 0);
}
