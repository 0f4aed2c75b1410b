// SPDX-License-Identifier: MIT
#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "support/descriptors.hpp"
#include "support/fake_kernel.hpp"
#include "support/log_capture.hpp"
#include "support/odd_reads.hpp"

#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

using kt3::tests::FakeKernel;
using kt3::tests::Family;
using kt3::tests::LogCapture;
using kt3::tests::OutputCapture;
using kt3::tests::target_of;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr std::uint32_t kBothFamilies = 0xFFFF;
constexpr const char* kTooMany = "exceed  MAX_CHIP_NUM. \n";

find_adapter enumerate(std::uint32_t vendor_filter = kBothFamilies) {
    find_adapter record{};
    record.vendor_filter = vendor_filter;
    EXPECT_EQ(gfx_find_adapter(&record), 0);
    return record;
}

find_adapter_ext1 extended() {
    find_adapter_ext1 record;
    std::memset(&record, 0x5A, sizeof record);
    EXPECT_EQ(gfx_find_adapter_ext1(&record), 0);
    return record;
}

bool ends_with(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool is_open(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

} // namespace

TEST(Enumeration, RecordsOneAdapterWithEveryField) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer, {.device = 0x5C0E, .card = 4})
        .node("eclk", "800\n")
        .hwmon("temp1_input", "45 *C\n")
        .debugfs_info("VA=1\n");
    const find_adapter record = enumerate();
    EXPECT_EQ(gpuinfo_control_enable, 1);
    EXPECT_EQ(record.chip_num, 1);
    EXPECT_EQ(record.chip_id[0], 0x5C0E);
    EXPECT_STREQ(record.name[0], "Gpu0:Vorla-55F0");
    EXPECT_EQ(record.IS_VA_driver[0], 1);
    EXPECT_TRUE(ends_with(target_of(record.drm_fd[0]), "/dev/dri/renderD132")) << target_of(record.drm_fd[0]);
    EXPECT_EQ(record.drm_card_idx[0], 4);
    const gpu_infos& adapter = record.gpu_infos[0];
    EXPECT_STREQ(adapter.bus_id, "0000:03:00.0");
    EXPECT_TRUE(ends_with(target_of(adapter.sysfs_fd), "/0000:03:00.0")) << target_of(adapter.sysfs_fd);
    EXPECT_TRUE(ends_with(target_of(adapter.info_fd), "/0000:03:00.0/wy_info")) << target_of(adapter.info_fd);
    EXPECT_NE(target_of(adapter.hwmon_fd).find("/0000:03:00.0/hwmon/hwmon"), std::string::npos);
    EXPECT_EQ(adapter.vendor_id, 0x7A52);
}

TEST(Enumeration, LogsEveryStepInOrder) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.1", Family::older, {.device = 0x4B05}).debugfs_info("VA=0\n");
    LogCapture log;
    enumerate();
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("check venderid: 0x1f41, device id:0x4b05\n", "find chip kvr007\n", "drm_card_idx: 0\n",
                            "gpu_busid: 0x0000:03:00.1\n", "gpu_luid: 0x00000000:0x00030001\n",
                            "find_adapter->header.IS_VA_driver[0] = 0\n",
                            "find chip num:1, other vendor chip num:0\n"));
}

TEST(Enumeration, NamesTheSlotInWhichAChipIsRecorded) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::older);
    kernel.adapter("0000:03:00.0", Family::newer, {.device = 0x5C0E});
    kernel.adapter("0000:04:00.0", Family::newer, {.device = 0x5C06});
    const find_adapter record = enumerate();
    EXPECT_EQ(record.chip_num, 3);
    EXPECT_STREQ(record.name[0], "Gpu0:QN R-4480");
    EXPECT_STREQ(record.name[1], "Gpu1:Vorla-55F0");
    EXPECT_STREQ(record.name[2], "Gpu2:Vorla-MX-55E0t");
    EXPECT_EQ(std::strlen(record.name[2]), 19U);
}

TEST(Enumeration, RecognisesEveryChipOfTheTable) {
    struct Row {
        Family family;
        std::uint16_t device;
        const char* name;
        const char* log_line;
    };
    const Row rows[] = {
        {Family::older, 0x5C01, "Gpu0:QN R-4480", "find chip kt3\n"},
        {Family::older, 0x4B04, "Gpu0:QN R-360", "find chip dsn014\n"},
        {Family::older, 0x4B05, "Gpu0:QN R-4590", "find chip kvr007\n"},
        {Family::newer, 0x5C04, "Gpu0:Vorla-5510", "find chip vorla5510\n"},
        {Family::newer, 0x5C02, "Gpu0:Vorla5520", "find chip vorla5520\n"},
        {Family::newer, 0x5C00, "Gpu0:Vorla-MX-55E0", "find chip vorla55E0\n"},
        {Family::newer, 0x5C06, "Gpu0:Vorla-MX-55E0t", "find chip vorla55E0t\n"},
        {Family::newer, 0x5C07, "Gpu0:Vorla6630", "find chip vorla6630\n"},
        {Family::newer, 0x5C0E, "Gpu0:Vorla-55F0", "find chip vorla55F0\n"},
        {Family::newer, 0x5C05, "Gpu0:Vorla2", "find chip vorla2\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        FakeKernel kernel;
        kernel.adapter("0000:03:00.0", row.family, {.device = row.device});
        LogCapture log;
        const find_adapter record = enumerate();
        EXPECT_EQ(record.chip_num, 1);
        EXPECT_EQ(record.chip_id[0], row.device);
        EXPECT_STREQ(record.name[0], row.name);
        EXPECT_THAT(LogCapture::lines(), Contains(row.log_line));
    }
}

TEST(Enumeration, SkipsAnUnknownDeviceAndLeavesTheNumberOfItsClosedDescriptor) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer, {.device = 0x5C01});
    LogCapture log;
    const find_adapter record = enumerate();
    EXPECT_EQ(record.chip_num, 0);
    EXPECT_EQ(record.chip_id[0], 0);
    EXPECT_STREQ(record.name[0], "");
    EXPECT_GT(record.drm_fd[0], 2);
    EXPECT_FALSE(is_open(record.drm_fd[0]));
    EXPECT_EQ(extended().vendor_id[0], 0x7A52U);
    EXPECT_EQ(extended().bus[0].bus, 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("check venderid: 0x7a52, device id:0x5c01\n",
                                                 "find chip num:0, other vendor chip num:0\n"));
}

TEST(Enumeration, AKnownChipTakesTheSlotOfASkippedOne) {
    FakeKernel kernel;
    kernel.adapter("0000:02:00.0", Family::newer, {.device = 0x1234});
    kernel.adapter("0000:03:00.0", Family::newer, {.device = 0x5C02});
    const find_adapter record = enumerate();
    EXPECT_EQ(record.chip_num, 1);
    EXPECT_EQ(record.chip_id[0], 0x5C02);
    EXPECT_TRUE(is_open(record.drm_fd[0]));
}

TEST(Enumeration, AFilterForTheOlderFamilyRecordsOnlyIt) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    kernel.adapter("0000:02:00.0", Family::older);
    LogCapture log;
    const find_adapter record = enumerate(0x1F41);
    EXPECT_EQ(record.chip_num, 1);
    EXPECT_EQ(record.chip_id[0], 0x5C01);
    EXPECT_EQ(record.gpu_infos[0].vendor_id, 0x1F41);
    // The newer one is not taken as another vendor's either.
    EXPECT_EQ(record.chip_id[2], 0);
    EXPECT_EQ(extended().other_vendor_chip_num, 0);
    EXPECT_THAT(LogCapture::lines(), Contains("check venderid: 0x7a52, device id:0x5c0e\n"));
}

TEST(Enumeration, AZeroFilterRecordsNothing) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    const int before = kt3::tests::open_descriptors();
    const find_adapter record = enumerate(0);
    EXPECT_EQ(record.chip_num, 0);
    EXPECT_EQ(record.drm_fd[0], 0);
    EXPECT_EQ(gpuinfo_control_enable, 1);
    EXPECT_EQ(kt3::tests::open_descriptors(), before);
}

TEST(Enumeration, OfFourDevicesLooksAtTheFirstThreeAndSaysSoInBothPasses) {
    FakeKernel kernel;
    for (const char* bdf : {"0000:01:00.0", "0000:02:00.0", "0000:03:00.0", "0000:04:00.0"}) {
        kernel.adapter(bdf, Family::newer);
    }
    OutputCapture output;
    set_print_callback(nullptr);
    const find_adapter record = enumerate();
    EXPECT_EQ(output.text(), std::string(kTooMany) + kTooMany);
    EXPECT_EQ(record.chip_num, 3);
    EXPECT_STREQ(record.gpu_infos[2].bus_id, "0000:03:00.0");
}

TEST(Enumeration, OfFourDevicesSaysSoOnceWhenTheSecondPassTookAForeignGpu) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    kernel.foreign_gpu("0000:02:00.0", 0x1002);
    kernel.adapter("0000:03:00.0", Family::newer);
    kernel.adapter("0000:04:00.0", Family::newer);
    OutputCapture output;
    set_print_callback(nullptr);
    const find_adapter record = enumerate();
    EXPECT_EQ(output.text(), kTooMany);
    EXPECT_EQ(record.chip_num, 2);
    EXPECT_STREQ(record.name[2], "Gpu2:Amd-GPU");
}

TEST(Enumeration, OfThreeDevicesSaysNothingToStandardOutput) {
    FakeKernel kernel;
    for (const char* bdf : {"0000:01:00.0", "0000:02:00.0", "0000:03:00.0"}) {
        kernel.adapter(bdf, Family::newer);
    }
    OutputCapture output;
    set_print_callback(nullptr);
    EXPECT_EQ(enumerate().chip_num, 3);
    EXPECT_EQ(output.text(), "");
}

TEST(Enumeration, AForeignGpuGoesToSlotTwoBesideOneAdapter) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    kernel.foreign_gpu("0000:05:02.3", 0x10DE, {.device = 0x2484, .card = 7});
    LogCapture log;
    const find_adapter record = enumerate();
    EXPECT_EQ(record.chip_num, 1);
    EXPECT_EQ(record.chip_id[0], 0x5C0E);
    EXPECT_EQ(record.chip_id[2], 0x2484);
    EXPECT_STREQ(record.name[2], "Gpu2:Nvidia-GPU");
    EXPECT_EQ(record.drm_card_idx[2], 7);
    EXPECT_EQ(record.drm_fd[2], 0);
    EXPECT_EQ(record.gpu_infos[2].vendor_id, 0);
    EXPECT_STREQ(record.gpu_infos[2].bus_id, "");
    const find_adapter_ext1 ext1 = extended();
    EXPECT_EQ(ext1.other_vendor_chip_num, 1);
    EXPECT_EQ(ext1.vendor_id[2], 0x10DEU);
    EXPECT_EQ(ext1.bus[2].bus, 5);
    EXPECT_EQ(ext1.bus[2].device, 2);
    EXPECT_EQ(ext1.bus[2].function, 3);
    EXPECT_EQ(ext1.luid[2].low, 0x00050203U);
    const auto& lines = LogCapture::lines();
    ASSERT_GE(lines.size(), 4U);
    EXPECT_THAT(std::vector<std::string>(lines.end() - 4, lines.end()),
                ElementsAre("find chip nvidia\n", "gpu_busid: 0x0000:05:02.3\n", "gpu_luid: 0x00000000:0x00050203\n",
                            "find chip num:1, other vendor chip num:1\n"));
}

TEST(Enumeration, NamesForeignGpusByVendor) {
    const std::pair<std::uint16_t, std::pair<const char*, const char*>> rows[] = {
        {0x10DE, {"Gpu2:Nvidia-GPU", "find chip nvidia\n"}},
        {0x8086, {"Gpu2:Intel-GPU", "find chip intel\n"}},
        {0x1002, {"Gpu2:Amd-GPU", "find chip amd\n"}},
        {0x1234, {"Gpu2:Unknown-GPU", "find chip unknown, verdor i:0x1234, device id 0x1111\n"}},
    };
    for (const auto& [vendor, expected] : rows) {
        FakeKernel kernel;
        kernel.foreign_gpu("0000:01:00.0", vendor, {.device = 0x1111});
        LogCapture log;
        const find_adapter record = enumerate();
        EXPECT_EQ(record.chip_num, 0);
        EXPECT_STREQ(record.name[2], expected.first);
        EXPECT_THAT(LogCapture::lines(), Contains(expected.second));
    }
}

TEST(Enumeration, AForeignGpuOverwritesAThirdAdapterOfTheMaker) {
    FakeKernel kernel;
    // The list has three positions, so a third adapter and a foreign GPU meet only across two enumerations.
    kernel.adapter("0000:01:00.0", Family::newer);
    kernel.adapter("0000:02:00.0", Family::newer);
    kernel.adapter("0000:03:00.0", Family::newer);
    find_adapter record = enumerate();
    EXPECT_STREQ(record.name[2], "Gpu2:Vorla-55F0");
    kernel.remove("/dev/dri").remove("/sys");
    kernel.foreign_gpu("0000:09:00.0", 0x8086);
    EXPECT_EQ(gfx_find_adapter(&record), 0);
    EXPECT_EQ(record.chip_num, 0);
    EXPECT_STREQ(record.name[2], "Gpu2:Intel-GPU");
    EXPECT_STREQ(record.gpu_infos[2].bus_id, "0000:03:00.0");
}

TEST(Enumeration, TakesTheFirstForeignGpuOnly) {
    FakeKernel kernel;
    kernel.foreign_gpu("0000:01:00.0", 0x1002);
    kernel.foreign_gpu("0000:02:00.0", 0x10DE);
    const find_adapter record = enumerate();
    EXPECT_STREQ(record.name[2], "Gpu2:Amd-GPU");
}

TEST(Enumeration, TheVendorFilterDoesNotApplyToForeignGpus) {
    FakeKernel kernel;
    kernel.foreign_gpu("0000:01:00.0", 0x1002);
    EXPECT_STREQ(enumerate(0x1F41).name[2], "Gpu2:Amd-GPU");
}

TEST(Enumeration, ClosesTheForeignGpusNode) {
    FakeKernel kernel;
    kernel.foreign_gpu("0000:01:00.0", 0x1002);
    enumerate();
    const int before = kt3::tests::open_descriptors();
    enumerate();
    EXPECT_EQ(kt3::tests::open_descriptors(), before);
}

TEST(Enumeration, KeepsTheDescriptorsOfARecordedAdapterCloseOnExec) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer).node("eclk", "1\n").hwmon("temp1_input", "1\n");
    const find_adapter record = enumerate();
    const gpu_infos& adapter = record.gpu_infos[0];
    for (const int descriptor : {record.drm_fd[0], adapter.sysfs_fd, adapter.info_fd, adapter.hwmon_fd}) {
        EXPECT_EQ(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC) << target_of(descriptor);
    }
}

TEST(Enumeration, FallsBackToThePrimaryNodeWhenThereIsNoRenderNode) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    kernel.remove("/dev/dri/renderD128");
    const find_adapter record = enumerate();
    EXPECT_EQ(record.chip_num, 1);
    EXPECT_TRUE(ends_with(target_of(record.drm_fd[0]), "/dev/dri/card0")) << target_of(record.drm_fd[0]);
}

TEST(Enumeration, ADeviceWithoutAPrimaryNodeLeavesTheCardNumberAlone) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer, {.card = 4});
    kernel.foreign_gpu("0000:02:00.0", 0x10DE, {.card = 5});
    kernel.remove("/dev/dri/card4").remove("/dev/dri/card5");
    LogCapture log;
    find_adapter record{};
    record.vendor_filter = kBothFamilies;
    record.drm_card_idx[0] = 7;
    record.drm_card_idx[2] = 8;
    gfx_find_adapter(&record);
    EXPECT_EQ(record.chip_num, 1);
    EXPECT_TRUE(ends_with(target_of(record.drm_fd[0]), "/dev/dri/renderD132")) << target_of(record.drm_fd[0]);
    EXPECT_EQ(record.drm_card_idx[0], 7);
    EXPECT_EQ(record.drm_card_idx[2], 8);
    EXPECT_THAT(LogCapture::lines(), Contains("drm_card_idx: 7\n"));
}

TEST(Enumeration, WithoutADeviceSetsTheCountToZeroAndTheFlagToZero) {
    FakeKernel kernel;
    gpuinfo_control_enable = 1;
    LogCapture log;
    find_adapter record{};
    record.chip_num = 2;
    record.chip_id[0] = 77;
    EXPECT_EQ(gfx_find_adapter(&record), 0);
    EXPECT_EQ(record.chip_num, 0);
    EXPECT_EQ(record.chip_id[0], 77);
    EXPECT_EQ(gpuinfo_control_enable, 0);
    EXPECT_THAT(LogCapture::lines(), IsEmpty());
    EXPECT_EQ(gpuinfo_vorla_get_device_handles(&record), 0);
}

TEST(Enumeration, TouchesNothingButTheStatedFields) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    struct {
        find_adapter record;
        std::uint8_t behind[4]; // a client may hold the record as 280 bytes
    } held;
    std::memset(&held, 0x5A, sizeof held);
    held.record.vendor_filter = kBothFamilies;
    gfx_find_adapter(&held.record);
    EXPECT_EQ(held.record.reserved_0, 0x5A5A5A5A);
    EXPECT_EQ(held.record.reserved_8, 0x5A5A5A5A);
    EXPECT_EQ(held.record.reserved_124, 0x5A5A5A5A);
    EXPECT_EQ(held.record.current_index, 0x5A5A5A5A);
    EXPECT_EQ(held.record.chip_id[1], 0x5A5A5A5A);
    EXPECT_EQ(held.record.IS_VA_driver[0], 0x5A5A5A5A);
    for (const std::uint8_t byte : held.record.gpu_infos[0].reserved_34) {
        EXPECT_EQ(byte, 0x5A);
    }
    for (const std::uint8_t byte : held.behind) {
        EXPECT_EQ(byte, 0x5A);
    }
}

TEST(Enumeration, WritesTheInfoAndHwmonDescriptorsOnlyWhenThereIsSomethingToOpen) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    kernel.remove("/sys/bus/pci/devices/0000:01:00.0/hwmon");
    find_adapter record{};
    record.vendor_filter = kBothFamilies;
    record.gpu_infos[0].hwmon_fd = -77;
    gfx_find_adapter(&record);
    EXPECT_EQ(record.gpu_infos[0].hwmon_fd, -77);
    EXPECT_GE(record.gpu_infos[0].info_fd, 0);
}

TEST(Enumeration, ASysfsDirectoryThatCannotBeOpenedLeavesTheOtherDescriptorsAlone) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    kernel.remove("/sys/bus/pci/devices/0000:01:00.0");
    find_adapter record{};
    record.vendor_filter = kBothFamilies;
    gfx_find_adapter(&record);
    EXPECT_EQ(record.chip_num, 1);
    EXPECT_LT(record.gpu_infos[0].sysfs_fd, 0);
    EXPECT_EQ(record.gpu_infos[0].info_fd, 0);
    EXPECT_EQ(record.gpu_infos[0].hwmon_fd, 0);
}

TEST(Enumeration, AMissingInfoDirectoryGivesANegativeDescriptor) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    kernel.remove("/sys/bus/pci/devices/0000:01:00.0/wy_info");
    EXPECT_LT(enumerate().gpu_infos[0].info_fd, 0);
}

TEST(Enumeration, TheFirstHwmonDirectoryIsTakenAndFilesAreNot) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    const std::string hwmon = "/sys/bus/pci/devices/0000:01:00.0/hwmon";
    kernel.remove(hwmon).file(hwmon + "/hwmon0", "a file").directory(hwmon + "/other").directory(hwmon + "/hwmon5");
    EXPECT_TRUE(ends_with(target_of(enumerate().gpu_infos[0].hwmon_fd), "/hwmon/hwmon5"));
}

TEST(Enumeration, TheVaFlagIsSetOnlyByTheDriversReport) {
    const std::pair<std::string, std::int32_t> rows[] = {
        {"VA=1\n", 1},
        {"name wy\nVA=1 something\n", 1},
        {"VA=0\n", 0},
        {"VA =1\n", 0},
        {"", 0},
        {std::string(124, 'x') + "VA=1", 1},
        {std::string(125, 'x') + "VA=1", 0},
    };
    for (const auto& [text, expected] : rows) {
        FakeKernel kernel;
        kernel.adapter("0000:01:00.0", Family::older).debugfs_info(text);
        EXPECT_EQ(enumerate().IS_VA_driver[0], expected) << text;
    }
}

TEST(Enumeration, TheVaFlagIsFoundInAPageThatIsHandedOutLineByLine) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::older).debugfs_info("name qn\nVA=1\n");
    kt3::tests::odd_reads() = {.at_most = std::strlen("name qn\n")};
    EXPECT_EQ(enumerate().IS_VA_driver[0], 1);
}

TEST(Enumeration, AVaFlagThatTheClientSetIsNeverCleared) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::older).debugfs_info("VA=0\n");
    find_adapter record{};
    record.vendor_filter = kBothFamilies;
    record.IS_VA_driver[0] = 1;
    LogCapture log;
    gfx_find_adapter(&record);
    EXPECT_EQ(record.IS_VA_driver[0], 1);
    EXPECT_THAT(LogCapture::lines(), Contains("find_adapter->header.IS_VA_driver[0] = 1\n"));
}

TEST(ExtendedRecord, IsZeroBeforeTheFirstEnumeration) {
    const find_adapter_ext1 ext1 = extended();
    const find_adapter_ext1 zero{};
    EXPECT_EQ(std::memcmp(&ext1, &zero, sizeof zero), 0);
}

TEST(ExtendedRecord, HoldsLocationAndLuidAndLeavesTheRestZero) {
    FakeKernel kernel;
    kernel.adapter("0001:03:00.1", Family::newer);
    enumerate();
    find_adapter_ext1 ext1 = extended();
    EXPECT_EQ(ext1.vendor_id[0], 0x7A52U);
    EXPECT_EQ(ext1.bus[0].domain, 1);
    EXPECT_EQ(ext1.bus[0].bus, 3);
    EXPECT_EQ(ext1.bus[0].device, 0);
    EXPECT_EQ(ext1.bus[0].function, 1);
    EXPECT_EQ(ext1.luid[0].high, 1U);
    EXPECT_EQ(ext1.luid[0].low, 0x00030001U);
    ext1.vendor_id[0] = 0;
    ext1.bus[0] = {};
    ext1.luid[0] = {};
    const find_adapter_ext1 zero{};
    EXPECT_EQ(std::memcmp(&ext1, &zero, sizeof zero), 0);
}

TEST(ExtendedRecord, ShowsTheUnionOfTwoEnumerations) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    kernel.foreign_gpu("0000:02:00.0", 0x10DE);
    enumerate();
    kernel.remove("/dev/dri").remove("/sys");
    kernel.adapter("0000:05:00.0", Family::older);
    LogCapture log;
    enumerate();
    const find_adapter_ext1 ext1 = extended();
    EXPECT_EQ(ext1.vendor_id[0], 0x1F41U);
    EXPECT_EQ(ext1.bus[0].bus, 5);
    EXPECT_EQ(ext1.vendor_id[2], 0x10DEU);
    EXPECT_EQ(ext1.other_vendor_chip_num, 1);
    EXPECT_THAT(LogCapture::lines(), Contains("find chip num:1, other vendor chip num:1\n"));
}

TEST(ExtendedRecord, NullIsLeftAlone) {
    EXPECT_EQ(gfx_find_adapter_ext1(nullptr), 0);
    EXPECT_EQ(gfx_find_adapter(nullptr), 0);
    EXPECT_EQ(gpuinfo_vorla_get_device_handles(nullptr), 0);
}

TEST(DeviceHandles, NeedLibdrmLoadedFirst) {
    FakeKernel kernel;
    kernel.adapter("0000:01:00.0", Family::newer);
    find_adapter record{};
    record.vendor_filter = kBothFamilies;
    record.chip_num = 9;
    EXPECT_EQ(gpuinfo_vorla_get_device_handles(&record), 0);
    EXPECT_EQ(record.chip_num, 9);
    EXPECT_EQ(gpuinfo_vorla_init(), 1);
    EXPECT_EQ(gpuinfo_vorla_get_device_handles(&record), 1);
    EXPECT_EQ(record.chip_num, 1);
    EXPECT_EQ(gpuinfo_control_enable, 0);
}
