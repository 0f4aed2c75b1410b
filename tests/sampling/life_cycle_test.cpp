// SPDX-License-Identifier: MIT
// Sampling calls before binding, after letting go, and after binding anew.

#include "sampling/bound_module.hpp"

#include <gmock/gmock.h>

using kt3::tests::BoundModule;
using kt3::tests::LogCapture;
using testing::Each;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t U = 0xA5A5A5A5;
constexpr std::uint64_t kSecond = 1'000'000'000;
constexpr const char* kIncomplete = "gfx_xxx interface functions init fail. \n ";

int calls_of_the_program = 0;

// Every get call is made once and must write nothing.
void expect_silence() {
    _GFX_BUSY_INFO busy;
    _GFX_BANDWIDTH_INFO bandwidth;
    _GFX_FRAME_RATES rates = {1, 2, 3, 4};
    std::memset(&busy, 0xA5, sizeof busy);
    std::memset(&bandwidth, 0xA5, sizeof bandwidth);
    EXPECT_EQ(get_gpubusy_info(&busy), 0);
    EXPECT_EQ(get_bandwidth_info(&bandwidth), 0);
    EXPECT_EQ(get_fps_info(&rates), -1);
    EXPECT_THAT(busy.word, Each(U));
    EXPECT_THAT(bandwidth.word, Each(U));
    EXPECT_EQ(rates.average, 4);
}

std::uint32_t busy_word_2() {
    _GFX_BUSY_INFO busy = {};
    get_gpubusy_info(&busy);
    return busy.word[2];
}

} // namespace

// The program exports a module's entry point: a lookup without a module would find it.
extern "C" KT3_EXPORT std::int32_t gfx_get_usage_info(std::int32_t, void*, std::uint32_t*) {
    return ++calls_of_the_program;
}

TEST(SamplingWithoutAModule, GetCallsAreHarmlessOnAFreshLibrary) {
    EXPECT_EQ(gfxbusy_apiversion, 2);
    EXPECT_EQ(use_IOCTL_get_fps, 0);
    LogCapture log;
    expect_silence();
    EXPECT_THAT(LogCapture::lines(), ElementsAre());
}

TEST(SamplingWithoutAModule, NeverTakesAnEntryPointOfTheProgram) {
    LogCapture log;
    EXPECT_EQ(gfxbusy_init(), -1);
    EXPECT_EQ(bandwidth_init(), -1);
    EXPECT_EQ(fps_init(), 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre(kIncomplete, kIncomplete));
    expect_silence();
    EXPECT_EQ(calls_of_the_program, 0);
}

TEST(SamplingAfterExit, CallsNoEntryPointOfTheClosedModule) {
    BoundModule module("extended");
    gfxbusy_init();
    module.answer_sample(1, 2, 3);
    fps_init();
    bandwidth_init();
    gfx_global_exit(0);
    module.script().calls = 0;
    module.answer_sample(1000, 200, 300);
    expect_silence();
    EXPECT_THAT(module.called(), ElementsAre());
}

TEST(SamplingAfterExit, GoesOnThroughTheSameInterfacesOnceAModuleIsBoundAgain) {
    BoundModule module("extended");
    gfxbusy_init();
    module.answer_sample(kSecond, 100);
    fps_init();
    bandwidth_init();
    gfx_global_exit(0);
    EXPECT_EQ(gfxbusy_apiversion, 3);
    EXPECT_EQ(use_IOCTL_get_fps, 1);
    EXPECT_EQ(module.bind(), 0x5C00);
    module.answer_positions(12); // the extended bandwidth entry fills the client's twelve words itself
    module.answer_sample(2 * kSecond, 160);
    _GFX_BUSY_INFO busy = {};
    get_gpubusy_info(&busy);
    EXPECT_EQ(busy.word[2], 1002U);
    _GFX_FRAME_RATES rates = {};
    EXPECT_EQ(get_fps_info(&rates), 0);
    EXPECT_FLOAT_EQ(rates.frames, 60) << "since the sample taken before the exit";
    _GFX_BANDWIDTH_INFO bandwidth = {};
    get_bandwidth_info(&bandwidth);
    EXPECT_EQ(bandwidth.word[11], 1011U);
    EXPECT_THAT(module.called(), ElementsAre("gfx_get_usage_info_ext", "gfx_flip_count", "gfx_get_hwinfo_ext"));
    EXPECT_EQ(module.script().device_object, pdev) << "with the device object that is bound now";
}

TEST(SamplingAfterExit, StaysSilentWhenTheModuleBoundNextLacksTheInterfaces) {
    {
        BoundModule first("plain");
        gfxbusy_init();
        fps_init();
        bandwidth_init();
        gfx_global_exit(0);
    }
    BoundModule second("bare");
    expect_silence();
    EXPECT_THAT(second.called(), ElementsAre());
}

TEST(SamplingAfterExit, StaysSilentAfterABindingThatFailed) {
    BoundModule module("plain");
    gfxbusy_init();
    fps_init();
    bandwidth_init();
    gfx_global_exit(0);
    module.script().object_size = 0;
    EXPECT_EQ(module.bind(), -1);
    module.answer_sample(kSecond, 200);
    expect_silence();
    EXPECT_THAT(module.called(), ElementsAre());
}

TEST(SamplingAfterExit, UsesNoInterfaceThatTheInitCallsDidNotFind) {
    {
        BoundModule first("plain");
        gfxbusy_init();
        gfx_global_exit(0);
    }
    BoundModule second("extended");
    gfxbusy_apiversion = 3;
    expect_silence();
    EXPECT_THAT(second.called(), ElementsAre());
}

TEST(SamplingAfterExit, InitCallsFindNoModule) {
    BoundModule module("plain");
    gfx_global_exit(0);
    LogCapture log;
    EXPECT_EQ(gfxbusy_init(), -1);
    EXPECT_EQ(bandwidth_init(), -1);
    EXPECT_EQ(fps_init(), 0);
    EXPECT_EQ(use_IOCTL_get_fps, 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre(kIncomplete, kIncomplete));
}

TEST(SamplingAfterExit, StillReadsFramesFromTheNodes) {
    BoundModule module("bare");
    module.adapter.node("fps_count", "0 1000000000\n").node("rxa_blt_scn_cnt", "0\n");
    fps_init();
    gfx_global_exit(0);
    module.adapter.node("fps_count", "60 2000000000\n");
    _GFX_FRAME_RATES rates = {};
    EXPECT_EQ(get_fps_info(&rates), 0);
    EXPECT_FLOAT_EQ(rates.frames, 60);
}

TEST(SamplingAfterRebinding, KeepsItsEntryPointsWhenTheModuleWasNotClosed) {
    BoundModule module("plain");
    gfxbusy_init();
    module.bind();
    module.answer_positions();
    _GFX_BUSY_INFO busy = {};
    get_gpubusy_info(&busy);
    EXPECT_EQ(busy.word[2], 1000U);
    EXPECT_EQ(module.script().device_object, pdev) << "with the device object that is bound now";
}

TEST(SamplingInit, AFailingBusyInitLeavesWhatAnEarlierOneFound) {
    BoundModule first("extended_older", 0x5C01);
    ASSERT_EQ(gfxbusy_init(), 0);
    BoundModule second("bare"); // bound without an exit, so that the first module stays loaded
    EXPECT_EQ(gfxbusy_init(), -1);
    first.answer_positions();
    first.script().calls = 0;
    EXPECT_EQ(gfxbusy_apiversion, KT3_BUSY_VERSION_EXT_1);
    EXPECT_EQ(busy_word_2(), 1002U);
    gfxbusy_apiversion = KT3_BUSY_VERSION_1;
    EXPECT_EQ(busy_word_2(), 1000U);
    EXPECT_THAT(first.called(), ElementsAre("gfx_get_usage_info_ext", "gfx_get_usage_info"));
}

TEST(SamplingInit, AFailingBusyInitAfterExitCallsNothingAndTheNextModuleIsAskedAgain) {
    BoundModule module("extended");
    gfxbusy_init();
    gfx_global_exit(0);
    EXPECT_EQ(gfxbusy_init(), -1);
    EXPECT_EQ(gfxbusy_apiversion, 3) << "a failing call keeps the version";
    module.script().calls = 0;
    expect_silence();
    EXPECT_THAT(module.called(), ElementsAre());
    ASSERT_EQ(module.bind(), 0x5C00);
    module.answer_positions();
    EXPECT_EQ(busy_word_2(), 1002U);
}
