// SPDX-License-Identifier: MIT
#include "sampling/bound_module.hpp"

#include <gmock/gmock.h>

using kt3::tests::BoundModule;
using kt3::tests::LogCapture;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t U = 0xA5A5A5A5; // as the client left it
constexpr const char* kIncomplete = "gfx_xxx interface functions init fail. \n ";

std::vector<std::uint32_t> bandwidth_words() {
    struct {
        _GFX_BANDWIDTH_INFO record;
        std::uint32_t behind;
    } client;
    std::memset(&client, 0xA5, sizeof client);
    EXPECT_EQ(get_bandwidth_info(&client.record), 0);
    EXPECT_EQ(client.behind, U);
    return {client.record.word, client.record.word + 12};
}

} // namespace

TEST(BandwidthInit, PreparesTheDeviceObjectThroughTheModule) {
    BoundModule module("plain");
    LogCapture log;
    EXPECT_EQ(bandwidth_init(), 0);
    EXPECT_THAT(module.called(), ElementsAre("gfx_init_hwinfo"));
    EXPECT_EQ(module.script().descriptor, BoundModule::kDescriptor);
    EXPECT_EQ(module.script().device_object, pdev);
    EXPECT_THAT(LogCapture::lines(), ElementsAre());
}

TEST(BandwidthInit, FailsWhenTheModuleRefuses) {
    BoundModule module("plain");
    module.script().init_answer = 5;
    LogCapture log;
    EXPECT_EQ(bandwidth_init(), -1);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("gfx_init_hwinfo fail. \n "));
}

TEST(BandwidthInit, UsesTheOlderNamesWhenTheNewerAreMissing) {
    BoundModule module("qn_newer");
    module.answer_positions();
    EXPECT_EQ(bandwidth_init(), 0);
    EXPECT_EQ(bandwidth_words()[0], 1000U);
    EXPECT_THAT(module.called(), ElementsAre("qn_init_hwinfo", "qn_get_hwinfo"));
}

TEST(BandwidthInit, PrefersTheNewerNamesWhenAllAreThere) {
    BoundModule module("both_families");
    EXPECT_EQ(bandwidth_init(), 0);
    bandwidth_words();
    EXPECT_THAT(module.called(), ElementsAre("gfx_init_hwinfo", "gfx_get_hwinfo"));
}

TEST(BandwidthInit, TakesTheOlderNamesAsASetAndKeepsTheExtendedEntry) {
    BoundModule module("extended_get_with_qn"); // newer names without the deinit entry
    module.answer_positions(12);
    EXPECT_EQ(bandwidth_init(), 0);
    bandwidth_words();
    EXPECT_THAT(module.called(), ElementsAre("qn_init_hwinfo", "gfx_get_hwinfo_ext"));
}

TEST(BandwidthInit, FailsWithOneLineWhenAnEntryIsMissing) {
    for (const char* variant : {"bare", "no_deinit", "no_get"}) {
        BoundModule module(variant);
        LogCapture log;
        EXPECT_EQ(bandwidth_init(), -1) << variant;
        EXPECT_THAT(LogCapture::lines(), ElementsAre(kIncomplete)) << variant;
        EXPECT_THAT(module.called(), ElementsAre()) << variant;
        gfx_global_exit(0);
    }
}

TEST(BandwidthInit, PreparesNothingWithoutADeviceObject) {
    BoundModule module("plain");
    gfx_global_exit(0);
    module.script().object_size = 0;
    EXPECT_EQ(module.bind(), -1);
    ASSERT_EQ(pdev, nullptr);
    EXPECT_EQ(bandwidth_init(), 0);
    EXPECT_THAT(module.called(), ElementsAre());
}

TEST(BandwidthRead, CopiesTwelveWordsByPosition) {
    BoundModule module("plain");
    bandwidth_init();
    module.answer_positions();
    EXPECT_THAT(bandwidth_words(), ElementsAre(1000, 1001, 1002, 1003, 1004, 1005, 1006, 1007, 1008, 1009, 1010, 1011));
    EXPECT_EQ(module.script().first_word, 0U);
    EXPECT_EQ(module.script().zero_words, 999U);
    EXPECT_EQ(module.script().device_object, pdev);
}

TEST(BandwidthRead, CopiesSixWordsForChip4B04) {
    for (const char* variant : {"plain_oldest", "qn_oldest"}) {
        BoundModule module(variant, 0x4B04);
        ASSERT_EQ(bandwidth_init(), 0);
        module.answer_positions();
        EXPECT_THAT(bandwidth_words(), ElementsAre(1000, 1001, 1002, 1003, U, U, U, U, 1005, 1006, U, U)) << variant;
        gfx_global_exit(0);
    }
}

TEST(BandwidthRead, LetsTheExtendedEntryFillTheClientsRecord) {
    BoundModule module("extended");
    bandwidth_init();
    module.answer_positions(3);
    EXPECT_THAT(bandwidth_words(), ElementsAre(1000, 1001, 1002, U, U, U, U, U, U, U, U, U));
    EXPECT_THAT(module.called(), ElementsAre("gfx_init_hwinfo", "gfx_get_hwinfo_ext"));
}

TEST(BandwidthRead, SurvivesAModuleThatWritesAThousandWords) {
    BoundModule module("plain");
    bandwidth_init();
    module.answer_positions(1000);
    EXPECT_EQ(bandwidth_words()[11], 1011U);
}

TEST(BandwidthRead, CallsNothingForANullRecord) {
    BoundModule module("plain");
    bandwidth_init();
    module.script().calls = 0;
    EXPECT_EQ(get_bandwidth_info(nullptr), 0);
    EXPECT_THAT(module.called(), ElementsAre());
}
