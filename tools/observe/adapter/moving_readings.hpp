// SPDX-License-Identifier: MIT
#pragma once
// What moves, as nodes, page and link say it at one moment.

#include "observe/adapter/live_readings.hpp"
#include "observe/adapter/summaries.hpp"

namespace kt3::observe {

struct MovingReadings {
    LiveReadings live;
    UsageReadings usage;
    DriverPage page;
    Reading<std::int64_t> link_width;
};

} // namespace kt3::observe
