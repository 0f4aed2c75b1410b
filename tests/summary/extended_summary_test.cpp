// SPDX-License-Identifier: MIT
#include "summary/extended_summary.hpp"
#include "support/descriptors.hpp"
#include "support/odd_reads.hpp"
#include "support/one_adapter.hpp"

#include <gmock/gmock.h>
#include <random>

using kt3::tests::LogCapture;
using kt3::tests::OneAdapter;
using testing::Each;
using testing::ElementsAre;

namespace {

using Extended = _GPU_ADAPTER_SUMMARY_EXT2;

constexpr const char* kPage = "Driver Version : 1.2.a3\n"
                              "Firmware Version : 1.22.333.4444\n"
                              "Firmware Name : vorla firmware\n"
                              "Pixel Fillrate : 11\n"
                              "Texture Fillrate : 22\n"
                              "Memory Clock Freq : 33\n"
                              "DP Max Display Resolution : 1920 x 1080@30\n"
                              "HDMI Max Display Resolution : 3840 x 2160@60\n"
                              "VGA Max Display Resolution : 1024 x 768@75\n"
                              "GPU Memory Usage : 44\n"
                              "GPU Use Rate(3d) : 55\n"
                              "GPU Use Rate(video) : 66\n"
                              "GPU Use Rate(vpp) : 77\n"
                              "Realtime Temperature : 88\n"
                              "Bus Type : PCIE 3.0 x16\n";

Extended read(const find_adapter& record) {
    Extended result;
    std::memset(&result, 0xA5, sizeof result);
    EXPECT_EQ(get_adapter_summary_ext2(&result, &record), 0);
    return result;
}

Extended absent() {
    Extended record = {};
    record.memory_usage = record.use_rate_3d = record.use_rate_video = record.use_rate_vpp = record.temperature =
        KT3_ABSENT;
    return record;
}

bool equal(const Extended& left, const Extended& right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}

Extended read_page(const std::string& page, std::int32_t chip = 0x5C00) {
    OneAdapter adapter(chip);
    adapter.adapter.proc_page(page);
    return read(adapter.record);
}

std::string padded(std::size_t size, const std::string& tail) {
    return std::string(size - tail.size(), ' ') + tail;
}

} // namespace

TEST(ExtendedSummary, FillsEveryFieldFromItsKey) {
    OneAdapter adapter;
    adapter.adapter.proc_page(kPage);
    LogCapture log;
    const Extended record = read(adapter.record);
    EXPECT_EQ(record.driver_version, 0x1'0002'00A3U);
    EXPECT_EQ(record.firmware_version, 0x0001'0022'0333'4444U);
    EXPECT_STREQ(record.firmware_name, "vorla firmware");
    EXPECT_EQ(record.pixel_fill_rate, 11U);
    EXPECT_EQ(record.texture_fill_rate, 22U);
    EXPECT_EQ(record.memory_clock_freq, 33U);
    EXPECT_EQ(record.max_resolution, 3840ULL << 48 | 2160ULL << 32 | 60) << "HDMI goes before DP";
    EXPECT_EQ(record.vga_max_resolution, 1024ULL << 48 | 768ULL << 32 | 75);
    EXPECT_EQ(record.memory_usage, 44U);
    EXPECT_EQ(record.use_rate_3d, 55U);
    EXPECT_EQ(record.use_rate_video, 66U);
    EXPECT_EQ(record.use_rate_vpp, 77U);
    EXPECT_EQ(record.temperature, 88U);
    EXPECT_EQ(record.pcie_generation, 3U);
    EXPECT_EQ(record.reserved_60, 0U);
    EXPECT_THAT(record.reserved_100, Each(0));
    EXPECT_THAT(record.reserved_116, Each(0));
    EXPECT_THAT(LogCapture::lines(), ElementsAre("cached_current_pcie_gen: 3\n"));
}

TEST(ExtendedSummary, FindsEveryLineOfAPageThatIsHandedOutLineByLine) {
    OneAdapter adapter;
    const std::string first_line = "Driver Version : 1.2.a3\n";
    adapter.adapter.proc_page(first_line + "Bus Type : PCIE 3.0 x16\nRealtime Temperature : 88\n");
    kt3::tests::odd_reads() = {.at_most = first_line.size()};
    const Extended record = read(adapter.record);
    EXPECT_EQ(record.driver_version, 0x1'0002'00A3U);
    EXPECT_EQ(record.pcie_generation, 3U);
    EXPECT_EQ(record.temperature, 88U);
}

TEST(ExtendedSummary, IsEmptyAndMarkedAbsentWithoutAPage) {
    OneAdapter adapter;
    LogCapture log;
    EXPECT_TRUE(equal(read(adapter.record), absent()));
    EXPECT_THAT(LogCapture::lines(), ElementsAre());
}

TEST(ExtendedSummary, IsEmptyWhenThePageHasNoKeyButLogsTheGeneration) {
    OneAdapter adapter;
    adapter.adapter.proc_page("nothing of interest\n");
    LogCapture log;
    EXPECT_TRUE(equal(read(adapter.record), absent()));
    EXPECT_THAT(LogCapture::lines(), ElementsAre("cached_current_pcie_gen: 0\n"));
}

TEST(ExtendedSummary, NeverRetriesKeptFieldsAfterAFailedFirstRead) {
    OneAdapter adapter;
    read(adapter.record);
    adapter.adapter.proc_page(kPage);
    LogCapture log;
    const Extended record = read(adapter.record);
    EXPECT_EQ(record.driver_version, 0U);
    EXPECT_EQ(record.pcie_generation, 0U);
    EXPECT_EQ(record.temperature, 88U) << "fresh values come as soon as the page is there";
    EXPECT_THAT(LogCapture::lines(), ElementsAre());
}

TEST(ExtendedSummary, KeepsTheFactsAndRefreshesTheValues) {
    OneAdapter adapter;
    adapter.adapter.proc_page(kPage);
    read(adapter.record);
    adapter.adapter.proc_page("Driver Version : 9.9.9\nMemory Clock Freq : 1\nGPU Use Rate(3d) : 2\n");
    const Extended record = read(adapter.record);
    EXPECT_EQ(record.driver_version, 0x1'0002'00A3U);
    EXPECT_STREQ(record.firmware_name, "vorla firmware");
    EXPECT_EQ(record.memory_clock_freq, 1U);
    EXPECT_EQ(record.use_rate_3d, 2U);
    EXPECT_EQ(record.use_rate_video, KT3_ABSENT);
    EXPECT_EQ(record.temperature, KT3_ABSENT);
    adapter.kernel.remove("/proc/gpuinfo_0");
    EXPECT_TRUE(equal(read(adapter.record), absent())) << "kept facts need a page as well";
}

TEST(ExtendedSummary, GathersAgainForAnotherChip) {
    OneAdapter adapter;
    adapter.adapter.proc_page(kPage);
    read(adapter.record);
    adapter.adapter.proc_page("Bus Type : PCIE 4.0 x8\n");
    adapter.record.chip_id[0] = 0x5C02;
    const Extended record = read(adapter.record);
    EXPECT_EQ(record.pcie_generation, 4U);
    EXPECT_EQ(record.driver_version, 0U);
    EXPECT_STREQ(record.firmware_name, "");
}

TEST(ExtendedSummary, ReadsThePageOfTheCardInTheClientsRecord) {
    OneAdapter adapter;
    adapter.kernel.file("/proc/gpuinfo_7", "Realtime Temperature : 42\n");
    adapter.record.drm_card_idx[0] = 7;
    EXPECT_EQ(read(adapter.record).temperature, 42U);
}

TEST(ExtendedSummary, TakesTheDisplayPortResolutionWhenHdmiIsAbsent) {
    EXPECT_EQ(read_page("DP Max Display Resolution : 1920 x 1080@30\n").max_resolution,
              1920ULL << 48 | 1080ULL << 32 | 30);
    EXPECT_EQ(read_page("DP Max Display Resolution : 1920 x 1080@30\nHDMI Max Display Resolution : none\n", 0x5C02)
                  .max_resolution,
              0U)
        << "a key without a number is not absent";
}

TEST(ExtendedSummary, PacksWhatATextHoldsBeforeItBreaksOff) {
    struct Row {
        const char* text;
        std::uint64_t resolution;
    };
    std::int32_t chip = 0x100;
    for (const Row& row :
         {Row{"3840x2160@60", 3840ULL << 48 | 2160ULL << 32 | 60}, // blanks match nothing as well
          Row{"3840  x \t 2160@ 60", 3840ULL << 48 | 2160ULL << 32 | 60},
          Row{"3840 x 2160 @60", 3840ULL << 48 | 2160ULL << 32}, // no blank in front of the sign
          Row{"3840 X 2160@60", 3840ULL << 48}, Row{"3840 x", 3840ULL << 48}, Row{"x 1", 0},
          Row{"-1 x 1@1", 0xFFFFULL << 48 | 1ULL << 32 | 1}, Row{"1 x 1@-1", 1ULL << 48 | 0x1FFFFFFFFULL}}) {
        EXPECT_EQ(read_page(std::string("VGA Max Display Resolution : ") + row.text + "\n", chip++).vga_max_resolution,
                  row.resolution)
            << row.text;
    }
    EXPECT_EQ(read_page("Driver Version : 1.2\n", chip++).driver_version, 0x1'0002'0000U);
    EXPECT_EQ(read_page("Driver Version : v1\n", chip++).driver_version, 0U);
    EXPECT_EQ(read_page("Driver Version : ffffffff.1.1\n", chip++).driver_version, 0xFFFFFFFF'00010001U);
    EXPECT_EQ(read_page("Firmware Version : 1.2.3\n", chip++).firmware_version, 0x0001'0002'0003'0000U);
    EXPECT_EQ(read_page("Firmware Version : ffff.ffff.ffff.ffff\n", chip++).firmware_version, UINT64_MAX);
}

TEST(ExtendedSummary, ConvertsThePcieGenerationAsASignedNumber) {
    struct Row {
        const char* text;
        std::uint32_t generation;
    };
    std::int32_t chip = 0x100;
    for (const Row& row : {Row{"3.0 x16", 3}, Row{" 4.0 x8", 4}, Row{"-1.0 x1", 0xFFFFFFFF}, Row{"4294967301.0 x1", 5},
                           Row{"9223372036854775808.0 x1", 0xFFFFFFFF}, // saturates at the bounds of 64 bits
                           Row{"-9223372036854775809.0 x1", 0}, Row{"x16", 0}}) {
        EXPECT_EQ(read_page(std::string("Bus Type : PCIE") + row.text + "\n", chip++).pcie_generation, row.generation)
            << row.text;
    }
}

TEST(ExtendedSummary, ConvertsThePcieGenerationAsTheFormattedInputOfTheCLibraryDoes) {
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 24, '\0');
        for (char& c : text) {
            c = "01234567890123456789 +-x."[random() % 25];
        }
        kt3::summary::GpuinfoPage page;
        const std::string whole = "Bus Type : PCIE" + text + "\n";
        page.bytes = whole.size();
        std::strcpy(page.text, whole.c_str());
        Extended record = {};
        kt3::summary::parse_kept_facts(page, record);
        std::int32_t expected = 0;
        std::sscanf(text.c_str(), "%d", &expected);
        ASSERT_EQ(static_cast<std::int32_t>(record.pcie_generation), expected) << text;
    }
}

TEST(ExtendedSummary, CutsTheFirmwareNameAt31Characters) {
    EXPECT_STREQ(read_page("Firmware Name : " + std::string(31, 'n') + "\n").firmware_name,
                 std::string(31, 'n').c_str());
    EXPECT_STREQ(read_page("Firmware Name : " + std::string(40, 'n') + "\n", 0x5C02).firmware_name,
                 std::string(31, 'n').c_str());
    EXPECT_STREQ(read_page("Firmware Name : \n", 0x5C04).firmware_name, "");
}

TEST(ExtendedSummary, LeavesAUsageThatIsNoNumberAbsent) {
    const Extended record = read_page("GPU Use Rate(3d) : n/a\nRealtime Temperature : 0\n");
    EXPECT_EQ(record.use_rate_3d, KT3_ABSENT);
    EXPECT_EQ(record.temperature, 0U);
}

TEST(ExtendedSummary, ReadsPagesAroundTheBufferSize) {
    const std::string tail = "Realtime Temperature : 88";
    EXPECT_EQ(read_page(padded(1023, tail)).temperature, 88U);
    EXPECT_EQ(read_page(padded(1024, tail)).temperature, 88U);
    EXPECT_EQ(read_page(padded(1025, tail)).temperature, 8U) << "byte 1025 is not read";
    EXPECT_EQ(read_page(padded(1025, tail + "8")).temperature, 88U);
    EXPECT_EQ(read_page(padded(1024, "Realtime Temperature : ")).temperature, KT3_ABSENT) << "a key at the very edge";
}

TEST(ExtendedSummary, NullPointersAndAnIndexThatIsNoSlotTouchNothing) {
    find_adapter record = {};
    Extended result;
    EXPECT_EQ(get_adapter_summary_ext2(nullptr, &record), 0);
    EXPECT_EQ(get_adapter_summary_ext2(&result, nullptr), 0);
    EXPECT_EQ(gpu_info_get_adapter_summary_ext2(nullptr, nullptr), 0);
    record.current_index = 3;
    EXPECT_EQ(read(record).temperature, 0xA5A5A5A5U);
}
