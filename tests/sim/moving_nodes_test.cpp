// SPDX-License-Identifier: MIT
// Numbers that move: deterministic with a stepping clock, and nothing changes where nothing is listed.

#include "support/fake_kernel.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace kt3::tests;
using kt3::sim::moving_value;
using kt3::sim::MovingNumber;
using kt3::sim::Waveform;
using kt3::sim::with_number;

struct MovingNodes : ::testing::Test {
    FakeKernel kernel;
    Adapter adapter = kernel.adapter("0000:03:00.0", Family::newer);

    static std::string read(const std::string& path) {
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        char text[256] = "";
        const ssize_t got = ::read(file, text, sizeof text);
        ::close(file);
        return {text, static_cast<std::size_t>(got < 0 ? 0 : got)};
    }
};

TEST(Waveforms, StayBetweenTheirBounds) {
    const MovingNumber triangle{"", "", Waveform::triangle, 900, 1300, 8000};
    EXPECT_EQ(moving_value(triangle, 0), 900);
    EXPECT_EQ(moving_value(triangle, 2000), 1100);
    EXPECT_EQ(moving_value(triangle, 4000), 1300);
    EXPECT_EQ(moving_value(triangle, 6000), 1100);
    EXPECT_EQ(moving_value(triangle, 8000), 900);
    const MovingNumber square{"", "", Waveform::square, 400, 1100, 8000};
    EXPECT_EQ(moving_value(square, 3999), 400);
    EXPECT_EQ(moving_value(square, 4000), 1100);
}

TEST(Waveforms, CountsGrowWithTime) {
    const MovingNumber count{"", "", Waveform::count, 3600, 60, 1000};
    EXPECT_EQ(moving_value(count, 0), 3600);
    EXPECT_EQ(moving_value(count, 1500), 3690);
    const MovingNumber nanoseconds{"", "", Waveform::count, 0, 1'000'000'000, 1000};
    EXPECT_EQ(moving_value(nanoseconds, 4'000'000'000'123), 4'000'000'000'123'000'000);
}

TEST(MovingText, ReplacesTheNumberAfterTheKeyOnly) {
    EXPECT_EQ(with_number("41 *C\n", "", 70), "70 *C\n");
    EXPECT_EQ(with_number("3600 60\n", " ", 7), "3600 7\n");
    EXPECT_EQ(with_number("GPU Use Rate(3d) : 2\nnext 5\n", "GPU Use Rate(3d) : ", 88),
              "GPU Use Rate(3d) : 88\nnext 5\n");
    EXPECT_EQ(with_number("a : none\nb : 5\n", "a : ", 1), "a : none\nb : 5\n");
    EXPECT_EQ(with_number("a : 1\n", "b : ", 2), "a : 1\n");
}

TEST_F(MovingNodes, AdvanceOneStepWithEachOpening) {
    adapter.node("eclk", "1\n").moving_node("eclk", Waveform::count, 0, 100, 1000);
    kernel.machine().step_time(500);
    EXPECT_EQ(read(adapter.node_path("eclk")), "50\n");
    EXPECT_EQ(read(adapter.node_path("eclk")), "100\n");
    EXPECT_EQ(read("/sys/class/drm/card0/device/wy_info/eclk"), "150\n");
}

TEST_F(MovingNodes, MoveWhenOpenedRelativeToTheirFolder) {
    adapter.node("eclk", "1\n").moving_node("eclk", Waveform::count, 0, 100, 1000);
    kernel.machine().step_time(1000);
    const int folder = ::open(adapter.node_path("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int file = ::openat(folder, "eclk", O_RDONLY | O_CLOEXEC);
    char text[8] = "";
    EXPECT_EQ(::read(file, text, sizeof text), 4);
    EXPECT_STREQ(text, "100\n");
    ::close(file);
    ::close(folder);
}

TEST_F(MovingNodes, TwoNumbersOfOneNodeAreOfOneMoment) {
    adapter.node("fps_count", "3600 60\n").moving_node("fps_count", Waveform::count, 0, 60, 1000);
    adapter.moving_node("fps_count", Waveform::count, 0, 1'000'000'000, 1000, " ");
    kernel.machine().step_time(2000);
    EXPECT_EQ(read(adapter.node_path("fps_count")), "120 2000000000\n");
}

TEST_F(MovingNodes, TemperatureAndPagesMoveToo) {
    adapter.hwmon("temp1_input", "41 *C\n").moving_hwmon("temp1_input", Waveform::count, 0, 50, 1000);
    adapter.proc_page("A : 1\nB : 2\n").moving_page("B : ", Waveform::count, 0, 10, 1000);
    kernel.machine().step_time(1000);
    EXPECT_EQ(read(adapter.hwmon_path("temp1_input")), "50 *C\n");
    EXPECT_EQ(read("/proc/gpuinfo_0"), "A : 1\nB : 20\n");
}

TEST_F(MovingNodes, ARampEndsAtItsHighestAndCountsFromTheFirstReading) {
    adapter.node("free_fb_mem", "1\n").moving_node("free_fb_mem", Waveform::ramp, 4000, 0, 1000);
    kernel.machine().step_time(500);
    EXPECT_EQ(read(adapter.node_path("free_fb_mem")), "4000\n");
    EXPECT_EQ(read(adapter.node_path("free_fb_mem")), "2000\n");
    EXPECT_EQ(read(adapter.node_path("free_fb_mem")), "0\n");
    EXPECT_EQ(read(adapter.node_path("free_fb_mem")), "0\n");
}

TEST_F(MovingNodes, UsageAndFramesStandStillWhileAccountingIsOff) {
    adapter.node("engine_3d_usage", "7\n").moving_node("engine_3d_usage", Waveform::count, 0, 10, 1000);
    adapter.node("fps_count", "5 5\n").moving_node("fps_count", Waveform::count, 0, 10, 1000);
    adapter.node("eclk", "1\n").moving_node("eclk", Waveform::count, 0, 10, 1000);
    adapter.proc_page("GPU Use Rate(3d) : 9\nRealtime Temperature : 1\n");
    adapter.moving_page("GPU Use Rate(3d) : ", Waveform::count, 0, 10, 1000);
    adapter.moving_page("Realtime Temperature : ", Waveform::count, 0, 10, 1000);
    adapter.node("enable_usage", "0\n");
    kernel.machine().step_time(1000);
    EXPECT_EQ(read(adapter.node_path("engine_3d_usage")), "7\n");
    EXPECT_EQ(read(adapter.node_path("fps_count")), "5 5\n");
    EXPECT_EQ(read(adapter.node_path("eclk")), "30\n");
    EXPECT_EQ(read("/proc/gpuinfo_0"), "GPU Use Rate(3d) : 9\nRealtime Temperature : 40\n");
    adapter.node("enable_usage", "1\n");
    EXPECT_EQ(read(adapter.node_path("engine_3d_usage")), "50\n");
    EXPECT_EQ(read("/proc/gpuinfo_0"), "GPU Use Rate(3d) : 60\nRealtime Temperature : 60\n");
}

TEST_F(MovingNodes, OthersStayAsPublishedAndMissingOnesStayAway) {
    adapter.node("mclk", "1600\n").node("eclk", "1\n").moving_node("eclk", Waveform::count, 0, 100, 1000);
    EXPECT_EQ(read(adapter.node_path("mclk")), "1600\n");
    adapter.without_node("eclk");
    EXPECT_EQ(::open(adapter.node_path("eclk").c_str(), O_RDONLY | O_CLOEXEC), -1);
}

} // namespace
