// SPDX-License-Identifier: MIT
#pragma once
// What the driver's nodes say about one adapter. The same for every chip, readable without binding it.

#include "observe/adapter/machine.hpp"
#include "observe/reading.hpp"

#include <string>

namespace kt3::observe {

struct LiveReadings {
    Reading<std::int64_t> engine_mhz, video_mhz, memory_mhz, core_mhz;
    Reading<std::int64_t> temperature_c;
    Reading<std::int64_t> fan_speed;
    Reading<std::int64_t> fan0_rpm, fan1_rpm;
    Reading<std::int64_t> fb_size_mib, fb_free_mib;
    Reading<std::int64_t> channels;
};
[[nodiscard]] LiveReadings read_live(const Adapter& adapter);

// How busy the engines were. The driver counts it only for a bound adapter.
struct UsageReadings {
    Reading<std::int64_t> engine_3d_percent, video_codec_percent, video_post_percent;
};
[[nodiscard]] UsageReadings read_usage(const Adapter& adapter);

struct Versions {
    Reading<std::string> driver, release_date, vbios, pmp;
};
[[nodiscard]] Versions read_versions(const Adapter& adapter);

// The part of the frame buffer that is not free.
[[nodiscard]] Reading<std::int64_t> used_frame_buffer(const LiveReadings& live);

// Lanes of the adapter's link.
[[nodiscard]] Reading<std::int64_t> read_link_width(const Adapter& adapter);

} // namespace kt3::observe
