// SPDX-License-Identifier: MIT
#pragma once
// Values of the current adapter's nodes. Without a current adapter, or with an index outside the tables, every value
// is 0 and nothing is opened.

#include <cstdint>

namespace kt3::nodes {

// Descriptors of the current adapter's directories, -1 without one.
int current_info_directory();
int current_hwmon_directory();

// The decimal integer in a driver node; 0 when it is absent or holds none.
std::int32_t driver_node_int(std::int32_t index);

struct HwmonReading {
    std::int32_t value = 0;
    std::uint32_t bytes = 0; // as read; 0 tells a missing attribute from a value of 0
};
HwmonReading read_hwmon_int(std::int32_t index);

struct TemperatureReading {
    std::uint32_t degrees = 0; // Celsius, from a text such as "45 *C"
    std::uint32_t numbers = 0; // 1 when the attribute held a number
};
TemperatureReading read_temperature();

// Sends the text to "enable_usage"; returns the characters sent.
std::uint32_t set_usage_accounting(const char* text);

// Frame counters. A value that is absent leaves its destination alone; null destinations are skipped. Returns the
// numbers converted from the second node, 0 or 1.
struct FrameCounters {
    std::uint32_t* frames;
    std::int64_t* timestamp_ns;
    std::int64_t* blit_scans;
};
std::uint32_t read_frame_counters(const FrameCounters& into);

// Clears, then sets bits of "misc_ctl_flag"; a bit in both ends up set. An unreadable flag word counts as 0.
void update_misc_ctl_flag(std::uint32_t bits_to_set, std::uint32_t bits_to_clear);

} // namespace kt3::nodes
