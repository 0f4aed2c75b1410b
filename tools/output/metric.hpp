// SPDX-License-Identifier: MIT
#pragma once
// A sample of what moves, as a row.

#include "observe/adapter/moving_readings.hpp"
#include "observe/adapter/samplers.hpp"
#include "output/adapter.hpp"

namespace kt3::output {

using observe::BandwidthReadings;
using observe::BusyReadings;
using observe::FrameReadings;
using observe::MovingReadings;
using observe::UsageReadings;

[[nodiscard]] inline Reading<std::int64_t> used_memory(const MovingReadings& moving) {
    return used_frame_buffer(moving.live);
}
[[nodiscard]] inline Reading<std::int64_t> memory_usage(const MovingReadings& moving) {
    return moving.page.memory_usage;
}
[[nodiscard]] inline Reading<std::int64_t> pcie_generation(const MovingReadings& moving) {
    return moving.page.pcie_generation;
}
[[nodiscard]] inline Reading<std::int64_t> usage_of_3d(const MovingReadings& moving) {
    return moving.usage.engine_3d_percent;
}
[[nodiscard]] inline Reading<std::int64_t> usage_of_codec(const MovingReadings& moving) {
    return moving.usage.video_codec_percent;
}
[[nodiscard]] inline Reading<std::int64_t> usage_of_post(const MovingReadings& moving) {
    return moving.usage.video_post_percent;
}
template<std::size_t Word>
[[nodiscard]] Reading<std::int64_t> busy_word(const BusyReadings& busy) {
    return busy.words[Word];
}
template<std::size_t Word>
[[nodiscard]] Reading<std::int64_t> bandwidth_word(const BandwidthReadings& bandwidth) {
    return bandwidth.words[Word];
}

// clang-format off
// After the live readings.
inline constexpr Column<MovingReadings> kMovingColumns[] = {
    column<used_memory>                ("fb_used_mib",         "Used frame buffer", {.unit = "MiB", .group = "memory"}),
    column<usage_of_3d>                ("engine_3d_percent",   "3D",                {.unit = "%", .group = "usage"}),
    column<usage_of_codec>             ("video_codec_percent", "Video codec",       {.unit = "%", .group = "usage"}),
    column<usage_of_post>              ("video_post_percent",  "Post-processing",   {.unit = "%", .group = "usage"}),
    column<memory_usage>               ("memory_usage",        "Memory usage",      {.group = "memory"}),
    column<pcie_generation>            ("pcie_generation",     "PCIe generation",   {.group = "link"}),
    column<&MovingReadings::link_width>("link_width",          "Link width",        {.unit = "lanes", .group = "link"}),
};

// The words that any interface writes, by their position: modules say no more about them.
inline constexpr Column<BusyReadings> kBusyColumns[] = {
    column<&BusyReadings::interface>("interface", "Interface", {.group = "busy"}),
    column<busy_word<2>>("word_2", "Word 2", {.group = "busy"}),
    column<busy_word<4>>("word_4", "Word 4", {.group = "busy"}),
    column<busy_word<5>>("word_5", "Word 5", {.group = "busy"}),
    column<busy_word<7>>("word_7", "Word 7", {.group = "busy"}),
    column<busy_word<8>>("word_8", "Word 8", {.group = "busy"}),
    column<busy_word<9>>("word_9", "Word 9", {.group = "busy"}),
};

inline constexpr Column<FrameReadings> kFrameColumns[] = {
    column<&FrameReadings::source>          ("source",           "Counted by", {.group = "frames", .one_of = "module nodes"}),
    column<&FrameReadings::frames_per_s>    ("frames_per_s",     "Frames",     {.group = "frames"}),
    column<&FrameReadings::blit_scans_per_s>("blit_scans_per_s", "Blit scans", {.group = "frames"}),
    column<&FrameReadings::sum_per_s>       ("sum_per_s",        "Sum",        {.group = "frames"}),
    column<&FrameReadings::average_per_s>   ("average_per_s",    "Average",    {.group = "frames"}),
    column<&FrameReadings::interval_s>      ("interval_s",       "Interval",   {.group = "frames"}),
};

inline constexpr Column<BandwidthReadings> kBandwidthColumns[] = {
    column<bandwidth_word<0>>("word_0", "Word 0", {.group = "bandwidth"}),
    column<bandwidth_word<1>>("word_1", "Word 1", {.group = "bandwidth"}),
    column<bandwidth_word<2>>("word_2", "Word 2", {.group = "bandwidth"}),
    column<bandwidth_word<3>>("word_3", "Word 3", {.group = "bandwidth"}),
    column<bandwidth_word<4>>("word_4", "Word 4", {.group = "bandwidth"}),
    column<bandwidth_word<5>>("word_5", "Word 5", {.group = "bandwidth"}),
    column<bandwidth_word<6>>("word_6", "Word 6", {.group = "bandwidth"}),
    column<bandwidth_word<7>>("word_7", "Word 7", {.group = "bandwidth"}),
    column<bandwidth_word<8>>("word_8", "Word 8", {.group = "bandwidth"}),
    column<bandwidth_word<9>>("word_9", "Word 9", {.group = "bandwidth"}),
    column<bandwidth_word<10>>("word_10", "Word 10", {.group = "bandwidth"}),
    column<bandwidth_word<11>>("word_11", "Word 11", {.group = "bandwidth"}),
};
// clang-format on

} // namespace kt3::output
