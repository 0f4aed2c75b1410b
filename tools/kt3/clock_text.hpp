// SPDX-License-Identifier: MIT
#pragma once
// Moments as text.

#include <string>

namespace kt3::cli {

struct Moment {
    std::string utc;   // "2026-11-22T08:41:49.123Z"
    std::string local; // "09:41:49.123", for the screen
};
[[nodiscard]] Moment this_moment();

} // namespace kt3::cli
