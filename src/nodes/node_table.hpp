// SPDX-License-Identifier: MIT
#pragma once
// The files that the drivers publish for one adapter, by the index under which clients ask for them.

#include <cstddef>
#include <cstdint>
#include <iterator>
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

// The names above by their index.
// clang-format off
enum NodeIndex : std::int32_t {
    kEngine3dUsage,      kEngineVcpUsage,     kEngineVcpInfo,      kEngineVppUsage,
    kFanSpeed,           kVbiosVersion,       kPmpVersion,         kReleaseDate,
    kDriverVersion,      kMiuChannelNum,      kSliceMask,          kFbSize,
    kFreeFbMem,          kEclk,               kVclk,               kMclk,
    kEnablePerf,         kEnableUsage,        kFpsCount,           kRxaBltScnCnt,
    kMiscCtlFlag,        kPowerMode,          kPowerCase,          kPwmWaitCount,
    kDvfsMode,           kDvfsControlParams,  kDvfsClkVoltage,     kDvfsLevel,
    kSegmentInfo,        kCoreclk,
};
enum HwmonIndex : std::int32_t { kTemperature, kFan0, kFan1 };
// clang-format on

static_assert(std::size(kDriverNodes) == 32);
static_assert(std::string_view(kDriverNodes[kFanSpeed]) == "fan_speed");
static_assert(std::string_view(kDriverNodes[kMiuChannelNum]) == "miu_channel_num");
static_assert(std::string_view(kDriverNodes[kEclk]) == "eclk");
static_assert(std::string_view(kDriverNodes[kMiscCtlFlag]) == "misc_ctl_flag");
static_assert(std::string_view(kDriverNodes[kSegmentInfo]) == "segment_info");
static_assert(std::string_view(kDriverNodes[kCoreclk]) == "coreclk");
static_assert(std::string_view(kHwmonNodes[kFan1]) == "fan1_input");

// The name at `index`, or null when the table has none there.
template<std::size_t N>
constexpr const char* name_at(const char* const (&table)[N], std::int32_t index) {
    return index >= 0 && static_cast<std::size_t>(index) < N ? table[index] : nullptr;
}

} // namespace kt3::nodes
