// SPDX-License-Identifier: MIT
#pragma once
// What values can be at all. A driver in trouble publishes numbers that no adapter has; they are not shown as facts.

#include <cstddef>
#include <cstdint>

namespace kt3::observe {

enum class Quantity { any, degrees, percent, megahertz };

struct Limits {
    const char* unit;
    std::int64_t least, most;
};

// By the value of Quantity.
inline constexpr Limits kLimits[] = {
    {"", INT64_MIN, INT64_MAX},
    {"C", -50, 150},
    {"%", 0, 100},
    {"MHz", 0, 10'000},
};

// Degrees Celsius from which on drivers of both families slow down.
inline constexpr std::int64_t kHotDegrees = 90;

[[nodiscard]] constexpr bool is_plausible(std::int64_t value, Quantity quantity) {
    const Limits& limits = kLimits[static_cast<std::size_t>(quantity)];
    return value >= limits.least && value <= limits.most;
}

} // namespace kt3::observe
