#pragma once
// Driver nodes of one adapter as readings. Numbers come from the library, which answers 0 for whatever it cannot read;
// a 0 is looked into to tell a real one from an absent node.

#include "session.hpp"

namespace kt3::cli {

struct DriverNode {
    std::int32_t index; // what the library's accessors take
    const char* name;   // below the info directory, or the hwmon directory
};

// clang-format off
inline constexpr DriverNode kFanSpeed{4, "fan_speed"};
inline constexpr DriverNode kMemoryChannels{9, "miu_channel_num"};
inline constexpr DriverNode kFrameBuffer{11, "fb_size"};
inline constexpr DriverNode kFreeFrameBuffer{12, "free_fb_mem"};
inline constexpr DriverNode kEngineClock{13, "eclk"};
inline constexpr DriverNode kVideoClock{14, "vclk"};
inline constexpr DriverNode kMemoryClock{15, "mclk"};
inline constexpr DriverNode kCoreClock{29, "coreclk"};

inline constexpr DriverNode kHwmonFan0{1, "fan0_input"};
inline constexpr DriverNode kHwmonFan1{2, "fan1_input"};
// clang-format on

// Makes the adapter the one that the accessors below read. Binding it is not needed.
void make_current(Session& session, const Adapter& adapter);

[[nodiscard]] Reading read_number(Session& session, const Adapter& adapter, const DriverNode& node);
[[nodiscard]] Reading read_hwmon_number(Session& session, const Adapter& adapter, const DriverNode& node);
[[nodiscard]] Reading read_temperature(Session& session, const Adapter& adapter);

// The first line of a node, without blanks at its ends.
[[nodiscard]] Reading read_text(const Adapter& adapter, const char* name);

} // namespace kt3::cli
