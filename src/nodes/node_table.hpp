#pragma once
// The files that the drivers publish for one adapter, by the index under which clients ask for them.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kt3::nodes {

// Below the adapter's "wy_info" or "qn_info" directory. The index is what clients pass.
// clang-format off
inline constexpr const char* kDriverNodes[] = {
    "engine_3d_usage",  "engine_vcp_usage", "engine_vcp_info",  "engine_vpp_usage",     //  0
    "fan_speed",        "vbios_version",    "pmp_version",      "release_date",         //  4
    "driver_version",   "miu_channel_num",  "slice_mask",       "fb_size",              //  8
    "free_fb_mem",      "eclk",             "vclk",             "mclk",                 // 12
    "enable_perf",      "enable_usage",     "fps_count",        "rxa_blt_scn_cnt",      // 16
    "misc_ctl_flag",    "power_mode",       "power_case",       "pwm_wait_count",       // 20
    "dvfs_mode",        "dvfs_control_params", "dvfs_clk_voltage", "dvfs_level",        // 24
    "segment_info",     "coreclk",          "none",             nullptr,                // 28
};

// Below the adapter's hwmon directory.
inline constexpr const char* kHwmonNodes[] = {"temp1_input", "fan0_input", "fan1_input", "none"};
// clang-format on

// The indices that the library itself reads.
enum NodeIndex : std::int32_t {
    kMiuChannelNum = 9,
    kFbSize = 11,
    kEclk = 13,
    kVclk = 14,
    kMclk = 15,
    kEnableUsage = 17,
    kFpsCount = 18,
    kRxaBltScnCnt = 19,
    kMiscCtlFlag = 20,
    kPowerMode = 21,
    kPwmWaitCount = 23,
    kDvfsMode = 24,
    kDvfsControlParams = 25,
    kDvfsClkVoltage = 26,
    kDvfsLevel = 27,
    kSegmentInfo = 28,
    kCoreclk = 29,
};
enum HwmonIndex : std::int32_t { kTemperature = 0 };

static_assert(std::size(kDriverNodes) == 32);
static_assert(std::string_view(kDriverNodes[kMiuChannelNum]) == "miu_channel_num");
static_assert(std::string_view(kDriverNodes[kEclk]) == "eclk");
static_assert(std::string_view(kDriverNodes[kMiscCtlFlag]) == "misc_ctl_flag");
static_assert(std::string_view(kDriverNodes[kSegmentInfo]) == "segment_info");
static_assert(std::string_view(kDriverNodes[kCoreclk]) == "coreclk");

// The name at `index`, or null when the table has none there.
template<std::size_t N>
constexpr const char* name_at(const char* const (&table)[N], std::int32_t index) {
    return index >= 0 && static_cast<std::size_t>(index) < N ? table[index] : nullptr;
}

} // namespace kt3::nodes
