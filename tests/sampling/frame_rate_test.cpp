// SPDX-License-Identifier: MIT
#include "sampling/bound_module.hpp"

#include <cmath>
#include <gmock/gmock.h>

using kt3::tests::BoundModule;
using kt3::tests::LogCapture;
using kt3::tests::OneAdapter;
using testing::ElementsAre;

namespace {

constexpr std::uint64_t kSecond = 1'000'000'000;
constexpr float U = -7.5F; // a value that the library did not write

// Sixty frames in a second give 60.000004: the product with the factor is rounded before the division.
float rate(float count, float nanoseconds) {
    const volatile float product = count * 1e9F;
    return product / nanoseconds;
}

struct Sampled {
    std::int32_t result;
    std::vector<float> rates;
};

Sampled sample() {
    _GFX_FRAME_RATES rates = {U, U, U, U};
    const std::int32_t result = get_fps_info(&rates);
    return {result, {rates.frames, rates.blit_scans, rates.sum, rates.average}};
}

void publish(OneAdapter& adapter, std::uint64_t timestamp, std::uint32_t frames, std::int64_t scans) {
    adapter.node("fps_count",
                 std::to_string(frames) + " " + std::to_string(static_cast<std::int64_t>(timestamp)) + "\n");
    adapter.node("rxa_blt_scn_cnt", std::to_string(scans) + "\n");
}

} // namespace

TEST(FrameRateInit, CountsThroughTheModuleWhenItCan) {
    BoundModule module("plain");
    EXPECT_EQ(use_IOCTL_get_fps, 0);
    LogCapture log;
    EXPECT_EQ(fps_init(), 0);
    EXPECT_EQ(use_IOCTL_get_fps, 1);
    EXPECT_THAT(module.called(), ElementsAre("gfx_flip_count"));
    EXPECT_EQ(module.script().descriptor, BoundModule::kDescriptor);
    EXPECT_EQ(module.script().device_object, pdev);
    EXPECT_THAT(LogCapture::lines(), ElementsAre());
}

TEST(FrameRateInit, ReadsTheNodesWhenTheModuleHasNoFrameCounter) {
    BoundModule module("bare");
    use_IOCTL_get_fps = 1;
    EXPECT_EQ(fps_init(), 0);
    EXPECT_EQ(use_IOCTL_get_fps, 0);
}

TEST(FrameRateInit, ReadsTheNodesWhenTheModuleHasNoSizeQuery) {
    BoundModule module("no_size_query");
    EXPECT_EQ(fps_init(), 0);
    EXPECT_EQ(use_IOCTL_get_fps, 0);
    EXPECT_THAT(module.called(), ElementsAre());
}

TEST(FrameRateOfModule, WritesTheFirstAndTheAverageRateOnly) {
    BoundModule module("plain");
    module.answer_sample(kSecond, 100, 1000);
    fps_init();
    module.answer_sample(2 * kSecond, 160, 5000);
    EXPECT_THAT(sample().rates, ElementsAre(rate(60, 1e9F), U, U, rate(60, 1e9F)));
    module.answer_sample(3 * kSecond, 190, 9000);
    const Sampled third = sample();
    EXPECT_EQ(third.result, 0);
    EXPECT_THAT(third.rates, ElementsAre(rate(30, 1e9F), U, U, rate(90, 2e9F)));
}

TEST(FrameRateOfModule, CountsTheLowHalfOfTheFirstCounter) {
    BoundModule module("plain");
    module.answer_sample(kSecond, 0x1'0000'0000, 0);
    fps_init();
    module.answer_sample(2 * kSecond, 0x7'0000'003C, 0);
    EXPECT_THAT(sample().rates, ElementsAre(rate(60, 1e9F), U, U, rate(60, 1e9F)));
}

TEST(FrameRateOfModule, TakesACounterThatWentBackAsOneThatWrapped) {
    BoundModule module("plain");
    module.answer_sample(kSecond, 100, 0);
    fps_init();
    module.answer_sample(2 * kSecond, 99, 0);
    const float expected = rate(4294967295.0F, 1e9F);
    EXPECT_THAT(sample().rates, ElementsAre(expected, U, U, expected));
}

TEST(FrameRateOfModule, SurvivesAModuleThatWritesFourThousandBytes) {
    BoundModule module("plain");
    module.script().sample_words = 500;
    for (auto& word : module.script().sample) {
        word = 0xEEEEEEEEEEEEEEEE;
    }
    module.answer_sample(kSecond, 0, 0);
    fps_init();
    module.answer_sample(2 * kSecond, 60, 0);
    EXPECT_THAT(sample().rates, ElementsAre(rate(60, 1e9F), U, U, rate(60, 1e9F)));
}

TEST(FrameRateOfModule, SeesNoTimePassWhenTheModuleWritesNothing) {
    BoundModule module("plain");
    module.answer_sample(kSecond, 1, 0);
    fps_init();
    module.script().sample_words = 0;
    EXPECT_EQ(sample().result, -1);
}

TEST(FrameRateOfNodes, GivesBothRatesAndTheirSum) {
    OneAdapter adapter;
    publish(adapter, 5 * kSecond, 100, 200);
    fps_init();
    publish(adapter, 6 * kSecond, 160, 230);
    const Sampled second = sample();
    EXPECT_EQ(second.result, 0);
    EXPECT_THAT(second.rates,
                ElementsAre(rate(60, 1e9F), rate(30, 1e9F), rate(60, 1e9F) + rate(30, 1e9F), rate(90, 1e9F)));
}

TEST(FrameRateOfNodes, AveragesSinceTheInitCall) {
    OneAdapter adapter;
    publish(adapter, kSecond, 0, 0);
    fps_init();
    publish(adapter, 2 * kSecond, 60, 0);
    sample();
    publish(adapter, 3 * kSecond, 90, 10);
    EXPECT_THAT(sample().rates,
                ElementsAre(rate(30, 1e9F), rate(10, 1e9F), rate(30, 1e9F) + rate(10, 1e9F), rate(100, 2e9F)));
}

TEST(FrameRateOfNodes, LetsTheSecondCounterGoBackAndTheFirstWrap) {
    OneAdapter adapter;
    publish(adapter, kSecond, 10, 100);
    fps_init();
    publish(adapter, 2 * kSecond, 9, 40);
    EXPECT_THAT(sample().rates, ElementsAre(rate(4294967295.0F, 1e9F), rate(-60, 1e9F),
                                            rate(4294967295.0F, 1e9F) + rate(-60, 1e9F), rate(4294967235.0F, 1e9F)));
}

TEST(FrameRateOfNodes, RefusesAnUnchangedTimestampAndKeepsThePreviousSample) {
    OneAdapter adapter;
    publish(adapter, kSecond, 0, 0);
    fps_init();
    publish(adapter, 2 * kSecond, 60, 0);
    EXPECT_EQ(sample().result, 0);
    publish(adapter, 2 * kSecond, 90, 50);
    const Sampled unchanged = sample();
    EXPECT_EQ(unchanged.result, -1);
    EXPECT_THAT(unchanged.rates, ElementsAre(U, U, U, U));
    publish(adapter, 3 * kSecond, 120, 0);
    EXPECT_FLOAT_EQ(sample().rates[0], 60) << "counted from the last sample that gave rates";
}

TEST(FrameRateOfNodes, SeesNoTimePassWhenTheNodeCannotBeRead) {
    OneAdapter adapter;
    publish(adapter, kSecond, 0, 0);
    fps_init();
    adapter.remove_node("fps_count");
    EXPECT_EQ(sample().result, -1) << "right behind the init call";
    publish(adapter, 2 * kSecond, 60, 0);
    EXPECT_EQ(sample().result, 0);
    adapter.remove_node("fps_count");
    EXPECT_EQ(sample().result, -1);
    adapter.node("fps_count", "no number\n");
    EXPECT_EQ(sample().result, -1);
    adapter.node("fps_count", "70\n");
    EXPECT_EQ(sample().result, -1) << "without a time stamp";
}

TEST(FrameRateOfNodes, KeepsABlitCounterThatCannotBeRead) {
    OneAdapter adapter;
    publish(adapter, kSecond, 0, 500);
    fps_init();
    publish(adapter, 2 * kSecond, 60, 530);
    adapter.remove_node("rxa_blt_scn_cnt");
    EXPECT_THAT(sample().rates, ElementsAre(rate(60, 1e9F), 0, rate(60, 1e9F), rate(60, 1e9F)));
}

TEST(FrameRateOfNodes, RoundsEachTimestampBeforeSubtracting) {
    OneAdapter adapter;
    const std::uint64_t start = 1'700'000'000'123'456'789;
    const std::uint64_t later = start + 300 * kSecond;
    publish(adapter, start, 0, 0);
    fps_init();
    publish(adapter, later, 6000, 0);
    const volatile float from = static_cast<float>(start);
    const volatile float to = static_cast<float>(later);
    const float expected = 6000.0F * 1e9F / (to - from);
    EXPECT_NE(expected, 20.0F) << "the rounding must show";
    EXPECT_EQ(sample().rates[0], expected);
}

TEST(FrameRateOfNodes, TakesTimestampsAsUnsigned) {
    OneAdapter adapter;
    const std::uint64_t half = 0x8000000000000000U;
    publish(adapter, half / 2, 0, 0);
    fps_init();
    publish(adapter, half + half / 2, 100, 0); // negative as a signed number
    const float expected = 100.0F * 1e9F / (13835058055282163712.0F - 4611686018427387904.0F);
    EXPECT_EQ(sample().rates[0], expected);
}

TEST(FrameRateOfNodes, GivesInfinityWhenTheTimestampsRoundToTheSameFloat) {
    OneAdapter adapter;
    publish(adapter, 1'700'000'000'000'000'000, 10, 0);
    fps_init();
    publish(adapter, 1'700'000'000'000'000'001, 20, 0);
    const Sampled close = sample();
    EXPECT_EQ(close.result, 0);
    EXPECT_TRUE(std::isinf(close.rates[0]));
    EXPECT_TRUE(std::isnan(close.rates[1])) << "nothing divided by nothing";
}

TEST(FrameRateOfNodes, SurvivesCountersAtTheEndsOfTheirRange) {
    OneAdapter adapter;
    publish(adapter, kSecond, 0, INT64_MIN);
    fps_init();
    publish(adapter, 2 * kSecond, 4294967295U, INT64_MAX);
    EXPECT_EQ(sample().result, 0);
}

TEST(FrameRate, GivesNothingOnAFreshLibraryAndForANullRecord) {
    EXPECT_EQ(sample().result, -1);
    EXPECT_EQ(get_fps_info(nullptr), -1);
    EXPECT_EQ(fps_init(), 0);
    EXPECT_EQ(sample().result, -1);
}

TEST(FrameRate, FollowsTheSourceTheClientSets) {
    OneAdapter adapter;
    publish(adapter, kSecond, 0, 0);
    fps_init();
    publish(adapter, 2 * kSecond, 60, 0);
    use_IOCTL_get_fps = 1; // no module counts
    EXPECT_EQ(sample().result, -1);
    use_IOCTL_get_fps = 0;
    EXPECT_EQ(sample().result, 0);
}
