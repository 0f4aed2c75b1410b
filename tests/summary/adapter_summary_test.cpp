// SPDX-License-Identifier: MIT
#include "summary/fake_dmidecode.hpp"
#include "support/descriptors.hpp"
#include "support/no_descriptors.hpp"
#include "support/odd_reads.hpp"
#include "support/one_adapter.hpp"

#include <gmock/gmock.h>

using kt3::tests::FakeDmidecode;
using kt3::tests::LogCapture;
using kt3::tests::memory_device;
using kt3::tests::NoDescriptors;
using kt3::tests::OneAdapter;
using kt3::tests::OutputCapture;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t U = 0xA5A5A5A5;
constexpr std::int32_t kNewer = 0x5C0E;
constexpr std::int32_t kOlder = 0x4B05;

std::vector<std::uint32_t> summary(const find_adapter& record) {
    std::uint32_t words[13];
    std::memset(words, 0xA5, sizeof words);
    EXPECT_EQ(get_adapter_summary(reinterpret_cast<_GPU_ADAPTER_SUMMARY*>(words), &record), 0);
    EXPECT_EQ(words[12], U);
    return {words, words + 12};
}

void publish_nodes(OneAdapter& adapter) {
    adapter.node("eclk", "800\n").node("vclk", "600\n").node("mclk", "1600\n").node("coreclk", "900\n");
    adapter.node("fb_size", "8192\n").node("miu_channel_num", "4\n");
    adapter.adapter.pci_file("current_link_width", "16\n");
}

std::string display_page(const char* device, const char* ports, const std::string& types) {
    return std::string("Device ID : ") + device + "\nMax Display Port : " + ports + "\nSupport Display Type :" + types;
}

} // namespace

TEST(Summary, FillsTwelveWordsForTheOlderFamily) {
    const FakeDmidecode tool(memory_device("64", "A", "DDR5") + memory_device("64", "B", "DDR5"));
    OneAdapter adapter(kOlder, 1);
    publish_nodes(adapter);
    adapter.adapter.proc_page(display_page("0x4b05", "0x3", " DP EDP HDMI\n"));
    LogCapture log;
    EXPECT_THAT(summary(adapter.record), ElementsAre(800, 600, 1600, 8192, 3200, 900, 3, 0x1C, 4, 16, 5, 128));
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("cached_current_link_width: 0x10\n",
                            "cached_display_port_number: 0x3, cached_support_disp_port_type: 0x1c\n"));
    EXPECT_EQ(tool.runs(), "-t memory\n-t memory\n-t memory\n");
}

TEST(Summary, DoublesTheMemoryClockAndLeavesTwoWordsForTheNewerFamily) {
    for (const std::int32_t chip : {0x5C00, 0x5C02, 0x5C04, 0x5C05, 0x5C06, 0x5C07, 0x5C0E}) {
        const FakeDmidecode tool(memory_device("64", "A", "DDR5"));
        OneAdapter adapter(chip);
        publish_nodes(adapter);
        EXPECT_THAT(summary(adapter.record), ElementsAre(800, 600, 1600, 8192, 3200, 900, 0, 0, 4, 16, U, U));
        EXPECT_EQ(tool.runs(), "-t memory\n-t memory\n-t memory\n") << "the tool is run for every family";
    }
}

TEST(Summary, ReadsOnlyTheClocksOnceTheFactsAreKept) {
    const FakeDmidecode tool(memory_device("64", "A", "DDR4"));
    OneAdapter adapter(kOlder);
    publish_nodes(adapter);
    adapter.adapter.proc_page(display_page("4b05", "2", " VGA\n"));
    summary(adapter.record);
    adapter.node("eclk", "1\n").node("vclk", "2\n").node("mclk", "3\n").node("coreclk", "4\n");
    adapter.node("fb_size", "5\n").node("miu_channel_num", "6\n");
    adapter.adapter.proc_page(display_page("4b05", "7", " HDMI\n"));
    LogCapture log;
    EXPECT_THAT(summary(adapter.record), ElementsAre(1, 2, 3, 8192, 3200, 4, 2, 1, 4, 16, 4, 64));
    EXPECT_THAT(LogCapture::lines(), ElementsAre());
    EXPECT_EQ(tool.runs(), "-t memory\n-t memory\n-t memory\n");
}

TEST(Summary, GathersAgainForAnotherChipAndZeroesWhatIsMissingThere) {
    const FakeDmidecode tool(memory_device("64", "A", "DDR4"));
    OneAdapter adapter(kOlder);
    publish_nodes(adapter);
    summary(adapter.record);
    adapter.remove_node("fb_size").remove_node("miu_channel_num");
    adapter.record.chip_id[0] = 0x4B04;
    const auto words = summary(adapter.record);
    EXPECT_EQ(words[3], 0U);
    EXPECT_EQ(words[8], 0U);
}

TEST(Summary, TakesChipAndCardFromTheCurrentSlotOfTheClientsRecord) {
    const FakeDmidecode tool("");
    OneAdapter adapter(kNewer, 0);
    publish_nodes(adapter);
    adapter.kernel.file("/proc/gpuinfo_5", display_page("4b04", "2", " DVI\n"));
    find_adapter record = {};
    record.current_index = 2;
    record.chip_id[2] = 0x4B04;
    record.drm_card_idx[2] = 5;
    const auto words = summary(record);
    EXPECT_EQ(words[6], 2U);
    EXPECT_EQ(words[7], 2U);
    EXPECT_EQ(words[10], 4U) << "the older family's words are written";
}

TEST(Summary, IsAllZeroWhenNothingIsPublished) {
    const FakeDmidecode tool = FakeDmidecode::absent();
    OneAdapter adapter(kNewer);
    EXPECT_THAT(summary(adapter.record), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, U, U));
}

TEST(Summary, TwoAdaptersOfOneChipShareTheKeptFacts) {
    const FakeDmidecode tool("");
    OneAdapter adapter(kOlder, 0);
    publish_nodes(adapter);
    adapter.adapter.proc_page(display_page("4b05", "2", " VGA\n"));
    adapter.kernel.file("/proc/gpuinfo_1", display_page("4b05", "7", " HDMI\n"));
    summary(adapter.record);
    adapter.record.drm_card_idx[0] = 1;
    const auto words = summary(adapter.record);
    EXPECT_EQ(words[6], 2U);
    EXPECT_EQ(words[7], 1U);
}

TEST(Summary, TakesOneForTypeAndWidthWhenTheToolCannotBeStarted) {
    OneAdapter adapter(kOlder, 0);
    OutputCapture output;
    std::vector<std::uint32_t> words;
    {
        const NoDescriptors none;
        words = summary(adapter.record);
    }
    EXPECT_EQ(words[4], 0U);
    EXPECT_EQ(words[10], 1U);
    EXPECT_EQ(words[11], 1U);
    EXPECT_EQ(output.text(), "Failed to run command\nFailed to run command\nFailed to run command\n"
                             "Error opening drm directory\n");
}

TEST(Summary, NullPointersAndAnIndexThatIsNoSlotTouchNothing) {
    const FakeDmidecode tool("");
    find_adapter record = {};
    _GPU_ADAPTER_SUMMARY words;
    EXPECT_EQ(get_adapter_summary(nullptr, &record), 0);
    EXPECT_EQ(get_adapter_summary(&words, nullptr), 0);
    EXPECT_EQ(gpu_info_get_adapter_summary(nullptr, nullptr), 0);
    for (const std::int32_t index : {-1, 3}) {
        record.current_index = index;
        EXPECT_THAT(summary(record), testing::Each(U));
    }
    EXPECT_EQ(tool.runs(), "");
}

TEST(Summary, LeavesNoDescriptorBehind) {
    const FakeDmidecode tool("");
    OneAdapter adapter(kOlder);
    adapter.adapter.connector("HDMI-A-1");
    const int before = kt3::tests::open_descriptors();
    summary(adapter.record);
    EXPECT_EQ(kt3::tests::open_descriptors(), before);
}

TEST(Summary, ConvertsTheLinkWidthAsASignedNumber) {
    const FakeDmidecode tool("");
    std::int32_t chip = 0x1000;
    for (const auto& [text, width] :
         {std::pair("16\n", 16U), std::pair("-1\n", 0xFFFFFFFFU), std::pair("9223372036854775808\n", 0xFFFFFFFFU),
          std::pair("-9223372036854775809\n", 0U), std::pair("x16\n", 0U)}) {
        OneAdapter adapter(kNewer);
        adapter.record.chip_id[0] = chip++; // facts are gathered once per chip
        adapter.adapter.pci_file("current_link_width", text);
        EXPECT_EQ(summary(adapter.record)[9], width) << text;
    }
}

TEST(MemorySpeed, NeedsMoreThanTenBytesAndItsKey) {
    struct Row {
        std::string text;
        std::uint32_t speed;
    };
    const Row rows[] = {
        {"\tConfigured Memory Speed: 2666 MT/s\n", 2666},
        {"\tConfigured Memory Speed: Unknown MT/s\n", 0},
        {"\tConfigured Clock Speed: 2666 MT/s\n", 0},
        {"\tMemory Speed: 2666 MT/s\n", 0}, // not a configured one
        {"", 0},
    };
    std::int32_t chip = 0x1000;
    for (const Row& row : rows) {
        const FakeDmidecode tool(row.text);
        OneAdapter adapter(kOlder);
        adapter.record.chip_id[0] = chip++; // facts are gathered once per chip
        EXPECT_EQ(summary(adapter.record)[4], row.speed) << row.text;
    }
}

TEST(DisplayOutputs, CountATypeWhereverItsNameStandsInTheLine) {
    struct Row {
        const char* line;
        std::uint32_t types;
    };
    std::int32_t chip = 0x1000;
    for (const Row& row : {Row{" EDP\n", 16 | 8}, Row{" DP\n", 8}, Row{"VGA", 1}, Row{"xDVI-D,HDMI2\n", 2 | 4},
                           Row{" VGA DVI HDMI DP EDP\n", 31}, Row{" edp VGA\n DP\n", 1}}) {
        const FakeDmidecode tool("");
        OneAdapter adapter(kNewer, 0);
        adapter.record.chip_id[0] = ++chip;
        char device[16];
        std::snprintf(device, sizeof device, "0x%x", static_cast<unsigned>(chip));
        adapter.adapter.proc_page(display_page(device, "a", row.line));
        const auto words = summary(adapter.record);
        EXPECT_EQ(words[6], 10U) << "the count is hexadecimal";
        EXPECT_EQ(words[7], row.types) << row.line;
    }
}

TEST(DisplayOutputs, AreFoundInAPageThatIsHandedOutLineByLine) {
    const FakeDmidecode tool("");
    OneAdapter adapter(kNewer, 0);
    adapter.adapter.proc_page(display_page("5c0e", "3", " DP EDP HDMI\n"));
    kt3::tests::odd_reads() = {.at_most = std::strlen("Device ID : 5c0e\n")};
    const auto words = summary(adapter.record);
    EXPECT_EQ(words[6], 3U);
    EXPECT_EQ(words[7], 0x1CU);
}

TEST(DisplayOutputs, FallBackToTheConnectorDirectory) {
    const FakeDmidecode tool("");
    OneAdapter adapter(kOlder, 0);
    adapter.adapter.connector("HDMI-A-1").connector("DP-1").connector("DP-2").connector("eDP-1").connector("DVI-D-1");
    const auto words = summary(adapter.record);
    EXPECT_EQ(words[6], 4U) << "an eDP output in lower case is none of ours";
    EXPECT_EQ(words[7], 4U | 8U | 2U);
}

TEST(DisplayOutputs, CountAnEdpConnectorOnceAndNotAsDp) {
    const FakeDmidecode tool("");
    OneAdapter adapter(kOlder, 0);
    adapter.adapter.connector("EDP-1");
    const auto words = summary(adapter.record);
    EXPECT_EQ(words[6], 1U);
    EXPECT_EQ(words[7], 16U);
}

TEST(DisplayOutputs, FallBackWhenThePageIsAboutAnotherDeviceOrNamesTooLittle) {
    for (const std::string& page :
         {display_page("5c0e", "3", " DP\n"), display_page("4b05", "0", " DP\n"), display_page("4b05", "3", " none\n"),
          display_page("zz", "3", " DP\n"), std::string("Max Display Port : 3\nSupport Display Type : DP\n")}) {
        const FakeDmidecode tool("");
        OneAdapter adapter(kOlder, 0);
        adapter.record.chip_id[0] = kOlder;
        adapter.adapter.proc_page(page).connector("VGA-1");
        const auto words = summary(adapter.record);
        EXPECT_EQ(words[6], 1U) << page;
        EXPECT_EQ(words[7], 1U) << page;
        adapter.record.chip_id[0] = 0x4B04;
        summary(adapter.record); // so that the next page is asked for again
    }
}

TEST(DisplayOutputs, ReportAMissingConnectorDirectory) {
    const FakeDmidecode tool("");
    OneAdapter adapter(kOlder, 0);
    adapter.kernel.remove(adapter.adapter.pci_path() + "/drm");
    OutputCapture output;
    summary(adapter.record);
    EXPECT_EQ(output.text(), "Error opening drm directory\n");
}

TEST(DisplayOutputs, TheNewerFamilyHasNoFallback) {
    const FakeDmidecode tool("");
    OneAdapter adapter(kNewer, 0);
    adapter.adapter.connector("DP-1");
    OutputCapture output;
    EXPECT_EQ(summary(adapter.record)[6], 0U);
    EXPECT_EQ(output.text(), "");
}

TEST(DisplayOutputs, ALineOf99CharactersIsReadAndOneOf100IsTooLong) {
    const FakeDmidecode tool("");
    {
        OneAdapter adapter(kNewer, 0);
        adapter.adapter.proc_page(display_page("5c0e", "3", std::string(95, ' ') + "VGA\n")); // 99 with the newline
        OutputCapture output;
        EXPECT_EQ(summary(adapter.record)[7], 1U);
        EXPECT_EQ(output.text(), "");
    }
    {
        OneAdapter adapter(0x5C00, 0);
        adapter.adapter.proc_page(display_page("5c00", "3", std::string(96, ' ') + "VGA\n")).connector("DP-1");
        OutputCapture output;
        const auto words = summary(adapter.record);
        EXPECT_EQ(words[6], 0U) << "the newer family has no other source";
        EXPECT_EQ(words[7], 0U);
        EXPECT_EQ(output.text(), "get_line_from_string fail, string too long!!!\n");
    }
    OneAdapter adapter(0x4B04, 0);
    adapter.adapter.proc_page(display_page("4b04", "3", std::string(96, ' ') + "VGA\n")).connector("DP-1");
    OutputCapture output;
    const auto words = summary(adapter.record);
    EXPECT_EQ(words[6], 1U);
    EXPECT_EQ(words[7], 8U);
    EXPECT_EQ(output.text(), "get_line_from_string fail, string too long!!!\n");
}

TEST(ConnectorTypes, AreFiveRowsOfSixteenBytes) {
    const char* names[] = {"VGA", "DVI", "HDMI", "DP", "EDP"};
    for (int i = 0; i < 5; ++i) {
        EXPECT_STREQ(support_CONNECT_type_list[i].name, names[i]);
        EXPECT_EQ(support_CONNECT_type_list[i].value, 1 << i);
    }
    EXPECT_EQ(sizeof support_CONNECT_type_list, 80U);
}
