// SPDX-License-Identifier: MIT
#include "support/descriptors.hpp"
#include "support/log_capture.hpp"
#include "support/odd_reads.hpp"
#include "support/selected_adapter.hpp"

#include <gmock/gmock.h>

using kt3::tests::SelectedAdapter;

namespace {

constexpr std::int32_t kEngineClock = 13;
constexpr std::int32_t kTemperatureIndex = 0;

struct TextRow {
    std::string text;
    std::int32_t expected;
};

} // namespace

TEST(DriverNodeInt, ParsesADecimalNumberAtTheStartOfTheText) {
    const TextRow rows[] = {
        {"800\n", 800},
        {"800", 800},
        {" \t\n 12\n", 12},
        {"-5\n", -5},
        {"+5\n", 5},
        {"", 0},
        {"\n", 0},
        {"abc\n", 0},
        {"12MHz\n", 12},
        {"0x10\n", 0},
        {"2147483647\n", INT32_MAX},
        {"-2147483648\n", INT32_MIN},
        {"4294967301\n", 5},
        {"99999999999999999999\n", -1},
        {std::string("1\0002\n", 4), 1},
    };
    for (const TextRow& row : rows) {
        SelectedAdapter adapter;
        adapter.node("eclk", row.text);
        EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), row.expected) << testing::PrintToString(row.text);
    }
}

TEST(DriverNodeInt, ReadsAtMost64BytesOfALongNode) {
    SelectedAdapter adapter;
    adapter.node("eclk", std::string(63, ' ') + "123\n");
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), 1);
    adapter.node("eclk", std::string(64, ' ') + "123\n");
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), 0);
    adapter.node("eclk", std::string(62, '0') + "77777");
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), 77);
}

TEST(DriverNodeInt, IsZeroForAMissingNodeAndLeavesNoDescriptor) {
    SelectedAdapter adapter;
    const int before = kt3::tests::open_descriptors();
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), 0);
    adapter.node("eclk", "5\n");
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), 5);
    EXPECT_EQ(kt3::tests::open_descriptors(), before);
}

TEST(DriverNodeInt, IsZeroForADirectoryInPlaceOfTheNode) {
    SelectedAdapter adapter;
    adapter.kernel().directory("/sys/bus/pci/devices/0000:03:00.0/wy_info/eclk");
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), 0);
}

TEST(Accessors, AreHarmlessWithoutACurrentAdapter) {
    ASSERT_EQ(pCurrent_gpu_infos, nullptr);
    std::uint32_t number = 9;
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), 0);
    EXPECT_EQ(gpuinfo_get_hwmonFD_value_int(0, &number), 0);
    EXPECT_EQ(number, 0U);
    number = 9;
    EXPECT_EQ(gpuinfo_get_temparature_value_int(&number), 0U);
    EXPECT_EQ(number, 0U);
    EXPECT_EQ(gpuinfo_set_enable_usage("1"), 0U);
    std::int64_t wide = 4;
    EXPECT_EQ(gpuinfo_get_fps_count(&number, &wide, &wide), 0U);
    EXPECT_EQ(wide, 4);
    gpuinfo_set_misc_ctl_flag(1, 1);
}

TEST(Accessors, ANegativeDescriptorMakesEveryValueZero) {
    SelectedAdapter adapter;
    adapter.node("eclk", "5\n").hwmon("temp1_input", "45 *C\n");
    gpu_infos broken = *pCurrent_gpu_infos;
    broken.info_fd = -1;
    broken.hwmon_fd = -1;
    pCurrent_gpu_infos = &broken;
    std::uint32_t status = 9;
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), 0);
    EXPECT_EQ(gpuinfo_get_temparature_value_int(&status), 0U);
    EXPECT_EQ(status, 0U);
}

TEST(Accessors, FollowTheCurrentAdapter) {
    SelectedAdapter first;
    first.node("eclk", "1\n");
    SelectedAdapter second;
    second.node("eclk", "2\n");
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), 2);
    gpuinfo_select_new_chip(&first.record());
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(kEngineClock), 1);
}

TEST(Accessors, LogNothing) {
    SelectedAdapter adapter;
    kt3::tests::LogCapture log;
    gpuinfo_get_wyinfoFD_value_int(kEngineClock);
    gpuinfo_set_enable_usage("1");
    gpuinfo_set_misc_ctl_flag(1, 0);
    EXPECT_TRUE(kt3::tests::LogCapture::lines().empty());
}

TEST(HwmonInt, CountsTheBytesReadSoThatAMissingAttributeDiffersFromZero) {
    SelectedAdapter adapter;
    std::uint32_t bytes = 77;
    EXPECT_EQ(gpuinfo_get_hwmonFD_value_int(1, &bytes), 0);
    EXPECT_EQ(bytes, 0U);
    adapter.hwmon("fan0_input", "0\n");
    EXPECT_EQ(gpuinfo_get_hwmonFD_value_int(1, &bytes), 0);
    EXPECT_EQ(bytes, 2U);
    adapter.hwmon("fan0_input", "abc");
    EXPECT_EQ(gpuinfo_get_hwmonFD_value_int(1, &bytes), 0);
    EXPECT_EQ(bytes, 3U);
}

TEST(HwmonInt, CountsAtMost64Bytes) {
    SelectedAdapter adapter;
    adapter.hwmon("fan0_input", "1200" + std::string(200, ' '));
    std::uint32_t bytes = 0;
    EXPECT_EQ(gpuinfo_get_hwmonFD_value_int(1, &bytes), 1200);
    EXPECT_EQ(bytes, 64U);
}

TEST(HwmonInt, AcceptsANullByteCount) {
    SelectedAdapter adapter;
    adapter.hwmon("temp1_input", "41\n");
    EXPECT_EQ(gpuinfo_get_hwmonFD_value_int(kTemperatureIndex, nullptr), 41);
}

TEST(Temperature, Of45DegreesIs45WithStatusOne) {
    SelectedAdapter adapter;
    adapter.hwmon("temp1_input", "45 *C");
    std::uint32_t status = 9;
    EXPECT_EQ(gpuinfo_get_temparature_value_int(&status), 45U);
    EXPECT_EQ(status, 1U);
}

TEST(Temperature, OfAMissingNodeIsZeroWithStatusZero) {
    SelectedAdapter adapter;
    std::uint32_t status = 9;
    EXPECT_EQ(gpuinfo_get_temparature_value_int(&status), 0U);
    EXPECT_EQ(status, 0U);
}

TEST(Temperature, CountsANumberWhateverFollowsIt) {
    SelectedAdapter adapter;
    adapter.hwmon("temp1_input", "45000\n");
    std::uint32_t status = 9;
    EXPECT_EQ(gpuinfo_get_temparature_value_int(&status), 45000U);
    EXPECT_EQ(status, 1U);
}

TEST(Temperature, WithoutANumberIsZeroWithStatusZero) {
    SelectedAdapter adapter;
    for (const char* text : {"", "\n", "*C", "hot *C"}) {
        adapter.hwmon("temp1_input", text);
        std::uint32_t status = 9;
        EXPECT_EQ(gpuinfo_get_temparature_value_int(&status), 0U) << text;
        EXPECT_EQ(status, 0U) << text;
    }
}

TEST(Temperature, IsReadWholeAcrossThe64thByte) {
    SelectedAdapter adapter;
    adapter.hwmon("temp1_input", std::string(63, ' ') + "45 *C\n");
    std::uint32_t status = 9;
    EXPECT_EQ(gpuinfo_get_temparature_value_int(&status), 45U) << "4 is what the first 64 bytes hold";
    EXPECT_EQ(status, 1U);
    adapter.hwmon("temp1_input", std::string(4000, '\n') + "45 *C\n");
    EXPECT_EQ(gpuinfo_get_temparature_value_int(&status), 45U);
    EXPECT_EQ(gpuinfo_get_hwmonFD_value_int(kTemperatureIndex, &status), 0) << "the plain reading sees 64 bytes";
    EXPECT_EQ(status, 64U);
}

TEST(EnableUsage, SendsTheTextAndReturnsItsLength) {
    SelectedAdapter adapter;
    adapter.node("enable_usage", "0");
    EXPECT_EQ(gpuinfo_set_enable_usage("1"), 1U);
    EXPECT_EQ(adapter.node_text("enable_usage"), "1");
}

TEST(EnableUsage, IsNotCreatedWhenTheDriverDoesNotPublishIt) {
    SelectedAdapter adapter;
    EXPECT_EQ(gpuinfo_set_enable_usage("1"), 0U);
    EXPECT_FALSE(
        std::filesystem::exists(adapter.kernel().real("/sys/bus/pci/devices/0000:03:00.0/wy_info/enable_usage")));
}

TEST(EnableUsage, SendsAPairOfPercentSignsAsOneAndALoneOneAsItStands) {
    const std::pair<const char*, std::string> rows[] = {
        {"5%%", "5%"},
        {"50% of %s%n", "50% of %s%n"},
        {"%%%", "%%"},
        {"%d", "%d"},
    };
    for (const auto& [text, sent] : rows) {
        SelectedAdapter adapter;
        adapter.node("enable_usage", "");
        EXPECT_EQ(gpuinfo_set_enable_usage(text), sent.size()) << text;
        EXPECT_EQ(adapter.node_text("enable_usage"), sent) << text;
    }
}

TEST(EnableUsage, ReturnsTheLengthEvenWhenTheDriverRefusesTheText) {
    SelectedAdapter adapter;
    std::filesystem::create_symlink("/dev/full",
                                    adapter.kernel().real("/sys/bus/pci/devices/0000:03:00.0/wy_info/enable_usage"));
    EXPECT_EQ(gpuinfo_set_enable_usage("1"), 1U);
}

TEST(EnableUsage, AnEmptyOrNullTextSendsNothing) {
    SelectedAdapter adapter;
    adapter.node("enable_usage", "1");
    EXPECT_EQ(gpuinfo_set_enable_usage(""), 0U);
    EXPECT_EQ(gpuinfo_set_enable_usage(nullptr), 0U);
    EXPECT_EQ(adapter.node_text("enable_usage"), "1");
}

TEST(FrameCounters, ComeFromTwoNodes) {
    SelectedAdapter adapter;
    adapter.node("fps_count", "60 1000000000\n").node("rxa_blt_scn_cnt", "30\n");
    std::uint32_t frames = 0;
    std::int64_t timestamp = 0;
    std::int64_t scans = 0;
    EXPECT_EQ(gpuinfo_get_fps_count(&frames, &timestamp, &scans), 1U);
    EXPECT_EQ(frames, 60U);
    EXPECT_EQ(timestamp, 1000000000);
    EXPECT_EQ(scans, 30);
}

TEST(FrameCounters, HoldNumbersBeyond32Bits) {
    SelectedAdapter adapter;
    adapter.node("fps_count", "4294967295 9223372036854775807\n").node("rxa_blt_scn_cnt", "-9223372036854775808\n");
    std::uint32_t frames = 0;
    std::int64_t timestamp = 0;
    std::int64_t scans = 0;
    EXPECT_EQ(gpuinfo_get_fps_count(&frames, &timestamp, &scans), 1U);
    EXPECT_EQ(frames, 4294967295U);
    EXPECT_EQ(timestamp, INT64_MAX);
    EXPECT_EQ(scans, INT64_MIN);
}

TEST(FrameCounters, AreReadWholeAcrossThe64thByte) {
    SelectedAdapter adapter;
    adapter.node("fps_count", std::string(62, ' ') + "1234 8765432100\n");
    adapter.node("rxa_blt_scn_cnt", std::string(62, '\t') + "567\n");
    std::uint32_t frames = 0;
    std::int64_t timestamp = 7;
    std::int64_t scans = 0;
    EXPECT_EQ(gpuinfo_get_fps_count(&frames, &timestamp, &scans), 1U);
    EXPECT_EQ(frames, 1234U);
    EXPECT_EQ(timestamp, 8765432100);
    EXPECT_EQ(scans, 567);
}

TEST(FrameCounters, CostOneReadEach) {
    SelectedAdapter adapter;
    adapter.node("fps_count", "60 100\n").node("rxa_blt_scn_cnt", "30\n");
    kt3::tests::odd_reads() = {};
    gpuinfo_get_fps_count(nullptr, nullptr, nullptr);
    EXPECT_EQ(kt3::tests::odd_reads().made, 2);
}

TEST(FrameCounters, ThatAreMissingKeepTheirDestinations) {
    struct Row {
        const char* fps_count;
        const char* blit_scans;
        std::uint32_t frames;
        std::int64_t timestamp, scans;
        std::uint32_t result;
    };
    const Row rows[] = {
        {"", "", 1, 2, 3, 0},     {"9", "", 9, 2, 3, 0},       {"9 x", "8", 9, 2, 8, 1},
        {"x 9", "y", 1, 2, 3, 0}, {"9\n8", "-7", 9, 8, -7, 1},
    };
    for (const Row& row : rows) {
        SelectedAdapter adapter;
        adapter.node("fps_count", row.fps_count).node("rxa_blt_scn_cnt", row.blit_scans);
        std::uint32_t frames = 1;
        std::int64_t timestamp = 2;
        std::int64_t scans = 3;
        EXPECT_EQ(gpuinfo_get_fps_count(&frames, &timestamp, &scans), row.result) << row.fps_count;
        EXPECT_EQ(frames, row.frames) << row.fps_count;
        EXPECT_EQ(timestamp, row.timestamp) << row.fps_count;
        EXPECT_EQ(scans, row.scans) << row.fps_count;
    }
}

TEST(FrameCounters, AcceptNullDestinations) {
    SelectedAdapter adapter;
    adapter.node("fps_count", "60 100\n").node("rxa_blt_scn_cnt", "30\n");
    EXPECT_EQ(gpuinfo_get_fps_count(nullptr, nullptr, nullptr), 1U);
}

TEST(MiscCtlFlag, ABitToClearAndToSetEndsUpSet) {
    SelectedAdapter adapter;
    adapter.node("misc_ctl_flag", "1");
    gpuinfo_set_misc_ctl_flag(0x4, 0x4);
    EXPECT_EQ(adapter.node_text("misc_ctl_flag"), "5\n");
}

TEST(MiscCtlFlag, ClearsAndSetsBits) {
    SelectedAdapter adapter;
    adapter.node("misc_ctl_flag", "7\n");
    gpuinfo_set_misc_ctl_flag(0, 0x2);
    EXPECT_EQ(adapter.node_text("misc_ctl_flag"), "5\n");
}

TEST(MiscCtlFlag, WritesANegativeWordInDecimal) {
    SelectedAdapter adapter;
    adapter.node("misc_ctl_flag", "0\n");
    gpuinfo_set_misc_ctl_flag(INT32_MIN, 0);
    EXPECT_EQ(adapter.node_text("misc_ctl_flag"), "-2147483648\n");
}

TEST(MiscCtlFlag, AnUnreadableWordCountsAsZero) {
    SelectedAdapter adapter;
    adapter.node("misc_ctl_flag", "?");
    gpuinfo_set_misc_ctl_flag(0x8, 0x1);
    EXPECT_EQ(adapter.node_text("misc_ctl_flag"), "8\n");
}
