// SPDX-License-Identifier: MIT
#pragma once
// The names by which clients reach driver nodes: their order is the contract. Drivers publish all but the last.

namespace kt3::tests {

inline constexpr const char* kDriverNodeNames[] = {
    "engine_3d_usage",
    "engine_vcp_usage",
    "engine_vcp_info",
    "engine_vpp_usage",
    "fan_speed",
    "vbios_version",
    "pmp_version",
    "release_date",
    "driver_version",
    "miu_channel_num",
    "slice_mask",
    "fb_size",
    "free_fb_mem",
    "eclk",
    "vclk",
    "mclk",
    "enable_perf",
    "enable_usage",
    "fps_count",
    "rxa_blt_scn_cnt",
    "misc_ctl_flag",
    "power_mode",
    "power_case",
    "pwm_wait_count",
    "dvfs_mode",
    "dvfs_control_params",
    "dvfs_clk_voltage",
    "dvfs_level",
    "segment_info",
    "coreclk",
    "none",
};
} // namespace kt3::tests
