// SPDX-License-Identifier: MIT
#include "sampling/bound_module.hpp"

#include <gmock/gmock.h>

using kt3::tests::BoundModule;
using kt3::tests::LogCapture;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t kUntouched = 0xA5A5A5A5;

// The record as the client sees it, with a word of room behind it.
std::vector<std::uint32_t> busy_words() {
    struct {
        _GFX_BUSY_INFO record;
        std::uint32_t behind;
    } client;
    std::memset(&client, 0xA5, sizeof client);
    EXPECT_EQ(get_gpubusy_info(&client.record), 0);
    EXPECT_EQ(client.behind, kUntouched);
    return {client.record.word, client.record.word + 10};
}

constexpr std::uint32_t U = kUntouched;

} // namespace

TEST(BusyInit, UsesThePlainInterfaceAndLogsIt) {
    BoundModule module("plain");
    LogCapture log;
    EXPECT_EQ(gfxbusy_init(), 0);
    EXPECT_EQ(gfxbusy_apiversion, 2);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("gfxbusy_init  use GFXBUSY_VERION_1.\n "));
    EXPECT_THAT(module.called(), ElementsAre());
}

TEST(BusyInit, EndsAtTheExtendedInterfaceAfterLoggingBothLines) {
    BoundModule module("extended");
    LogCapture log;
    EXPECT_EQ(gfxbusy_init(), 0);
    EXPECT_EQ(gfxbusy_apiversion, 3);
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("gfxbusy_init  use GFXBUSY_VERION_1.\n ", "gfxbusy_init  use GFXBUSY_VERION_EXT_1.\n "));
}

TEST(BusyInit, FallsBackToTheOlderInterface) {
    BoundModule module("qn_newer");
    LogCapture log;
    EXPECT_EQ(gfxbusy_init(), 0);
    EXPECT_EQ(gfxbusy_apiversion, 1);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("gfxbusy_init  use GFXBUSY_VERION_0.\n "));
}

TEST(BusyInit, TakesTheExtendedInterfaceBesideTheOlderOne) {
    BoundModule module("qn_busy_extended");
    LogCapture log;
    EXPECT_EQ(gfxbusy_init(), 0);
    EXPECT_EQ(gfxbusy_apiversion, 3);
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("gfxbusy_init  use GFXBUSY_VERION_0.\n ", "gfxbusy_init  use GFXBUSY_VERION_EXT_1.\n "));
}

TEST(BusyInit, FailsWithoutAnInterfaceAndKeepsTheVersion) {
    BoundModule module("bare");
    LogCapture log;
    EXPECT_EQ(gfxbusy_init(), -1);
    EXPECT_EQ(gfxbusy_apiversion, 2);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("gfx_xxx interface functions init fail. \n "));
    EXPECT_THAT(busy_words(), testing::Each(U));
}

TEST(BusyInit, DoesNotCountTheExtendedInterfaceAlone) {
    BoundModule module("extended_busy_only");
    LogCapture log;
    EXPECT_EQ(gfxbusy_init(), -1);
    EXPECT_EQ(gfxbusy_apiversion, 2);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("gfx_xxx interface functions init fail. \n "));
    EXPECT_THAT(module.called(), ElementsAre());
}

TEST(BusyRead, CopiesThreeWordsOfThePlainAnswer) {
    BoundModule module("plain");
    gfxbusy_init();
    module.answer_positions();
    EXPECT_THAT(busy_words(), ElementsAre(U, U, 1000, U, 1001, U, U, 1002, U, U));
    EXPECT_THAT(module.called(), ElementsAre("gfx_get_usage_info"));
    EXPECT_EQ(module.script().descriptor, BoundModule::kDescriptor);
    EXPECT_EQ(module.script().device_object, pdev);
    EXPECT_NE(pdev, nullptr);
    EXPECT_EQ(module.script().first_word, 0U);
    EXPECT_EQ(module.script().zero_words, 999U);
}

TEST(BusyRead, CopiesThreeWordsOfTheOlderAnswerAndPassesNoDeviceObject) {
    BoundModule module("qn_newer");
    gfxbusy_init();
    module.answer_positions();
    EXPECT_THAT(busy_words(), ElementsAre(U, U, 1000, U, 1001, U, U, 1002, U, U));
    EXPECT_THAT(module.called(), ElementsAre("qnGetHwqInfo"));
    EXPECT_EQ(module.script().descriptor, BoundModule::kDescriptor);
    EXPECT_EQ(module.script().first_word, 0U);
    EXPECT_EQ(module.script().zero_words, 999U);
}

TEST(BusyRead, AsksTheExtendedInterfaceForItsVersionAndCopiesByPosition) {
    BoundModule module("extended");
    gfxbusy_init();
    module.answer_positions();
    EXPECT_THAT(busy_words(), ElementsAre(U, U, 1002, U, 1004, 1005, U, 1003, U, U));
    EXPECT_THAT(module.called(), ElementsAre("gfx_get_usage_info_ext"));
    EXPECT_EQ(module.script().first_word, 3U);
    EXPECT_EQ(module.script().zero_words, 999U);
    EXPECT_EQ(module.script().device_object, pdev);
}

TEST(BusyRead, CopiesTheOtherWordsForChip4B05) {
    BoundModule module("extended_older", 0x4B05);
    gfxbusy_init();
    module.answer_positions();
    EXPECT_THAT(busy_words(), ElementsAre(U, U, 1002, U, 1004, 1005, U, 1007, 1008, 1009));
}

TEST(BusyRead, TreatsItsSisterChip5C01AsAnyOther) {
    BoundModule module("extended_older", 0x5C01);
    gfxbusy_init();
    module.answer_positions();
    EXPECT_THAT(busy_words(), ElementsAre(U, U, 1002, U, 1004, 1005, U, 1003, U, U));
}

TEST(BusyRead, StartsEachCallWithAZeroedBuffer) {
    BoundModule module("plain");
    gfxbusy_init();
    module.answer_positions();
    busy_words();
    module.script().answer_words = 1;
    EXPECT_THAT(busy_words(), ElementsAre(U, U, 1000, U, 0, U, U, 0, U, U));
}

TEST(BusyRead, SurvivesAModuleThatWritesAThousandWords) {
    for (const char* variant : {"plain", "extended"}) {
        BoundModule module(variant);
        gfxbusy_init();
        module.answer_positions(1000);
        EXPECT_EQ(busy_words()[2], variant == std::string("plain") ? 1000U : 1002U);
        gfx_global_exit(0);
    }
}

TEST(BusyRead, FollowsTheVersionTheClientSets) {
    BoundModule module("extended");
    gfxbusy_init();
    module.answer_positions();
    gfxbusy_apiversion = 2;
    EXPECT_THAT(busy_words(), ElementsAre(U, U, 1000, U, 1001, U, U, 1002, U, U));
    for (const std::int32_t version : {0, 1, 4, -1}) {
        gfxbusy_apiversion = version;
        EXPECT_THAT(busy_words(), testing::Each(U)) << version;
    }
    EXPECT_THAT(module.called(), ElementsAre("gfx_get_usage_info"));
}

TEST(BusyRead, CallsNothingForANullRecord) {
    BoundModule module("plain");
    gfxbusy_init();
    EXPECT_EQ(get_gpubusy_info(nullptr), 0);
    EXPECT_THAT(module.called(), ElementsAre());
}
