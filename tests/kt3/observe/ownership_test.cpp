// SPDX-License-Identifier: MIT
#include "observe/owner/ownership.hpp"

#include <unistd.h>

using namespace kt3::observe;
using ::testing::ElementsAre;

namespace {

constexpr std::int64_t kBoot = 1'767'225'600;

std::uint64_t ticks(std::int64_t seconds) {
    return static_cast<std::uint64_t>(seconds * ::sysconf(_SC_CLK_TCK));
}

// A process that started so many seconds after the boot.
Attribution process(std::int32_t pid, std::int64_t started) {
    Attribution made;
    made.pid = pid;
    made.visible = true;
    made.name = "kernel-name";
    made.user = "ada";
    made.start_time = ticks(started);
    made.booted = kBoot;
    return made;
}

Attribution ended_process(std::int32_t pid) {
    Attribution made;
    made.pid = pid;
    made.ended = true;
    return made;
}

OpenDevice settled(OpenDevice device, const Attributions& attributions) {
    OpenDevices devices{std::move(device)};
    settle(devices, attributions);
    return devices.front();
}

// Opened so many seconds after the boot.
OpenDevice opened(std::int64_t seconds) {
    return {7, 41, "game", kBoot + seconds};
}

} // namespace

TEST(OpenDevicesOf, GiveTheirPids) {
    EXPECT_THAT(pids_of({{7, 41, ""}, {8, 42, ""}, {9, 41, ""}}), ElementsAre(41, 42, 41));
}

TEST(SettledDevices, KeepTheNamesOfVisibleProcesses) {
    const OpenDevice device = settled(opened(200), {process(41, 100)});
    EXPECT_EQ(device.name, "game");
    EXPECT_FALSE(device.ended);
}

TEST(SettledDevices, GetTheNameOfTheKernelWhenTheProcessHasNone) {
    EXPECT_EQ(settled({7, 41, ""}, {process(41, 100)}).name, "[kernel-name]");
}

TEST(SettledDevices, OfEndedProcessesHaveNoName) {
    const OpenDevice device = settled(opened(200), {ended_process(41)});
    EXPECT_EQ(device.name, "");
    EXPECT_TRUE(device.ended);
}

TEST(SettledDevices, OfProcessesThatAreNotVisibleHaveNeitherNameNorEnd) {
    Attribution hidden;
    hidden.pid = 41;
    for (const Attributions& attributions : {Attributions{hidden}, Attributions{}, Attributions{process(42, 1)}}) {
        const OpenDevice device = settled(opened(200), attributions);
        EXPECT_EQ(device.name, "");
        EXPECT_FALSE(device.ended);
    }
}

TEST(SettledDevices, OlderThanTheProcessWithTheirPidAreOfOneThatEnded) {
    const OpenDevice device = settled(opened(200), {process(41, 300)});
    EXPECT_TRUE(device.ended);
    EXPECT_EQ(device.name, "");
}

TEST(SettledDevices, AsOldAsTheProcessAreItsOwn) {
    EXPECT_FALSE(settled(opened(300), {process(41, 300)}).ended);
    EXPECT_FALSE(settled(opened(298), {process(41, 300)}).ended) << "the moment of the boot is known to the second";
    EXPECT_TRUE(settled(opened(297), {process(41, 300)}).ended);
}

TEST(SettledDevices, FromBeforeTheBootSayThatTheClockWasSetAndNothingElse) {
    EXPECT_FALSE(settled(opened(-1), {process(41, 300)}).ended);
    EXPECT_TRUE(settled(opened(0), {process(41, 300)}).ended);
}

TEST(SettledDevices, WhoseMomentsAreNotKnownAreOfTheProcessWithTheirPid) {
    EXPECT_FALSE(settled({7, 41, "game"}, {process(41, 300)}).ended);
    Attribution timeless = process(41, 300);
    timeless.booted = std::nullopt;
    EXPECT_FALSE(settled(opened(200), {timeless}).ended);
}

TEST(Owners, InheritNothingFromTheProcessThatHasTheirPidNow) {
    const Attributions now{process(41, 300)};
    const Owner replaced{7, 41, "", true};
    EXPECT_TRUE(is_replaced(replaced, now));
    EXPECT_EQ(attribution_of(replaced, now).user, std::nullopt);
    EXPECT_FALSE(attribution_of(replaced, now).visible);
    const Owner own{8, 41, "game"};
    EXPECT_FALSE(is_replaced(own, now));
    EXPECT_EQ(attribution_of(own, now).user, "ada");
    EXPECT_FALSE(is_replaced({7, 42, "", true}, {ended_process(42)}));
}

TEST(Owners, WithoutAProcessHaveNoAttribution) {
    EXPECT_FALSE(attribution_of({7, std::nullopt, ""}, {process(0, 1)}).visible);
    EXPECT_FALSE(attribution_of({7, 43, ""}, {process(41, 1)}).visible);
}
