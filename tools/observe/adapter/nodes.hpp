#pragma once
// Driver nodes of one adapter as readings. Numbers come from the library, which answers 0 for whatever it cannot read;
// a 0 is looked into to tell a real one from an absent node.

#include "observe/adapter/machine.hpp"
#include "observe/reading.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace kt3::observe {

// What a node holds, up to the first 4096 bytes.
[[nodiscard]] Reading<std::string> read_page(int directory, const char* name);

// The decimal number that the text begins with, white space aside.
[[nodiscard]] Reading<std::int64_t> number_in(std::string_view text);

// The decimal number in a node.
[[nodiscard]] Reading<std::int64_t> number_at(int directory, const char* name);

// `value` is what the library made of the file. A 0 stands for nothing: the file is read again, and that reading alone
// tells the value or why there is none.
[[nodiscard]] Reading<std::int64_t> judged(std::int64_t value, int directory, const char* name);

struct DriverNode {
    std::int32_t index; // what the library's accessors take
    const char* name;   // below the info directory, or the hwmon directory
};

// clang-format off
inline constexpr DriverNode kUsage3d{0, "engine_3d_usage"};
inline constexpr DriverNode kUsageVideoCodec{1, "engine_vcp_usage"};
inline constexpr DriverNode kUsageVideoPost{3, "engine_vpp_usage"};
inline constexpr DriverNode kFanSpeed{4, "fan_speed"};
inline constexpr DriverNode kMemoryChannels{9, "miu_channel_num"};
inline constexpr DriverNode kFrameBuffer{11, "fb_size"};
inline constexpr DriverNode kFreeFrameBuffer{12, "free_fb_mem"};
inline constexpr DriverNode kEngineClock{13, "eclk"};
inline constexpr DriverNode kVideoClock{14, "vclk"};
inline constexpr DriverNode kMemoryClock{15, "mclk"};
inline constexpr DriverNode kFrameCount{18, "fps_count"};
inline constexpr DriverNode kCoreClock{29, "coreclk"};

inline constexpr DriverNode kHwmonFan0{1, "fan0_input"};
inline constexpr DriverNode kHwmonFan1{2, "fan1_input"};
// clang-format on

// Makes the adapter the one that the accessors below read. Binding it is not needed.
void make_current(const Library& library, Machine& machine, const Adapter& adapter);

[[nodiscard]] Reading<std::int64_t> read_number(const Library& library, const Adapter& adapter, const DriverNode& node);
[[nodiscard]] Reading<std::int64_t> read_hwmon_number(const Library& library, const Adapter& adapter,
                                                      const DriverNode& node);
[[nodiscard]] Reading<std::int64_t> read_temperature(const Library& library, const Adapter& adapter);

// The first line of a node, without white space at its ends.
[[nodiscard]] Reading<std::string> read_text(const Adapter& adapter, const char* name);

} // namespace kt3::observe
