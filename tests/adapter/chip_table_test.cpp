// SPDX-License-Identifier: MIT
#include "adapter/chip_table.hpp"

#include <gtest/gtest.h>
#include <string>

using namespace kt3::adapter;

namespace {

struct Row {
    std::uint16_t vendor, device;
    const char* display_name;
    const char* log_line;
    const char* module;
    const char* second_module;
    const char* debugfs_dir;
};

// What driver packages install, chip by chip.
// clang-format off
constexpr Row kRows[] = {
    {0x1F41, 0x5C01, "Gpu%d:QN R-4480", "find chip kt3\n", "libkt3keinterface_v2.so.0.0.0", "libdrm_kt3.so.0.0.0", "/sys/kernel/debug/dri/%d/qn"},
    {0x1F41, 0x4B04, "Gpu%d:QN R-360", "find chip dsn014\n", "libkeinterface_qn.so.0.0.0", nullptr, "/sys/kernel/debug/dri/%d/qn"},
    {0x1F41, 0x4B05, "Gpu%d:QN R-4590", "find chip kvr007\n", "libkt3keinterface_v2.so.0.0.0", "libdrm_kt3.so.0.0.0", "/sys/kernel/debug/dri/%d/qn"},
    {0x7A52, 0x5C04, "Gpu%d:Vorla-5510", "find chip vorla5510\n", "libvorlakeinterface_v2.so.0.0.0", nullptr, "/sys/kernel/debug/dri/%d/wy"},
    {0x7A52, 0x5C02, "Gpu%d:Vorla5520", "find chip vorla5520\n", "libvorlakeinterface_v2.so.0.0.0", nullptr, "/sys/kernel/debug/dri/%d/wy"},
    {0x7A52, 0x5C00, "Gpu%d:Vorla-MX-55E0", "find chip vorla55E0\n", "libvorlakeinterface_v2.so.0.0.0", nullptr, "/sys/kernel/debug/dri/%d/wy"},
    {0x7A52, 0x5C06, "Gpu%d:Vorla-MX-55E0t", "find chip vorla55E0t\n", "libvorlakeinterface_v2.so.0.0.0", nullptr, "/sys/kernel/debug/dri/%d/wy"},
    {0x7A52, 0x5C07, "Gpu%d:Vorla6630", "find chip vorla6630\n", "libvorlakeinterface_v2.so.0.0.0", nullptr, "/sys/kernel/debug/dri/%d/wy"},
    {0x7A52, 0x5C0E, "Gpu%d:Vorla-55F0", "find chip vorla55F0\n", "libvorlakeinterface_v2.so.0.0.0", nullptr, "/sys/kernel/debug/dri/%d/wy"},
    {0x7A52, 0x5C05, "Gpu%d:Vorla2", "find chip vorla2\n", "libdrm_vorla2.so.0.0.0", nullptr, "/sys/kernel/debug/dri/%d/wy"},
};
// clang-format on

} // namespace

TEST(ChipTable, HoldsEveryChipInOrder) {
    ASSERT_EQ(std::size(kChips), std::size(kRows));
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
        SCOPED_TRACE(kRows[i].log_line);
        EXPECT_EQ(kChips[i].vendor, kRows[i].vendor);
        EXPECT_EQ(kChips[i].device, kRows[i].device);
        EXPECT_STREQ(kChips[i].display_name, kRows[i].display_name);
        EXPECT_STREQ(kChips[i].log_line, kRows[i].log_line);
        EXPECT_STREQ(kChips[i].module, kRows[i].module);
        EXPECT_STREQ(kChips[i].second_module, kRows[i].second_module);
        EXPECT_STREQ(kChips[i].debugfs_dir, kRows[i].debugfs_dir);
    }
}

TEST(ChipTable, ADeviceIdUnderTheOtherFamilysVendorIsUnknownButBindsByItsNumber) {
    EXPECT_EQ(find_chip(0x7A52, 0x5C01), nullptr);
    EXPECT_EQ(find_chip(0x1F41, 0x5C0E), nullptr);
    EXPECT_NE(find_chip(0x1F41, 0x5C01), nullptr);
    ASSERT_NE(find_chip_by_id(0x5C01), nullptr);
    EXPECT_STREQ(find_chip_by_id(0x5C01)->module, "libkt3keinterface_v2.so.0.0.0");
    EXPECT_EQ(find_chip_by_id(0), nullptr);
    EXPECT_EQ(find_chip_by_id(0x15C01), nullptr);
}

TEST(ChipTable, TheNewerFamilyIsSevenDevices) {
    int count = 0;
    for (std::int32_t id = 0; id <= 0xFFFF; ++id) {
        // The same rule as a bit mask over the distance from the lowest device id.
        const std::uint32_t distance = static_cast<std::uint32_t>(id) - 0x5C00U;
        const bool by_mask = distance < 15 && ((0x40F5U >> distance) & 1U) != 0;
        ASSERT_EQ(is_newer_family(id), by_mask) << id;
        count += by_mask ? 1 : 0;
    }
    EXPECT_EQ(count, 7);
    EXPECT_FALSE(is_newer_family(-1));
}

TEST(ChipTable, OtherVendorsAreRecognisedByVendorAloneAndEveryOtherIsUnknown) {
    EXPECT_STREQ(find_other_vendor(0x10DE).display_name, "Gpu%d:Nvidia-GPU");
    EXPECT_STREQ(find_other_vendor(0x10DE).log_line, "find chip nvidia\n");
    EXPECT_STREQ(find_other_vendor(0x8086).display_name, "Gpu%d:Intel-GPU");
    EXPECT_STREQ(find_other_vendor(0x8086).log_line, "find chip intel\n");
    EXPECT_STREQ(find_other_vendor(0x1002).display_name, "Gpu%d:Amd-GPU");
    EXPECT_STREQ(find_other_vendor(0x1002).log_line, "find chip amd\n");
    EXPECT_STREQ(find_other_vendor(0x1234).display_name, "Gpu%d:Unknown-GPU");
    EXPECT_STREQ(find_other_vendor(0x1234).log_line, "find chip unknown, verdor i:0x%x, device id 0x%x\n");
}

TEST(ChipTable, TheFamilyFollowsTheVendor) {
    ASSERT_NE(find_family(0x1F41), nullptr);
    EXPECT_STREQ(find_family(0x1F41)->info_dir, "qn_info");
    EXPECT_STREQ(find_family(0x1F41)->debugfs_info, "qn/info");
    ASSERT_NE(find_family(0x7A52), nullptr);
    EXPECT_STREQ(find_family(0x7A52)->info_dir, "wy_info");
    EXPECT_STREQ(find_family(0x7A52)->debugfs_info, "wy/info");
    EXPECT_EQ(find_family(0x10DE), nullptr);
}
