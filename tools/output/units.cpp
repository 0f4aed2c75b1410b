// SPDX-License-Identifier: MIT
#include "output/units.hpp"

#include <cmath>
#include <fmt/format.h>
#include <iterator>

namespace kt3::output {

std::string hexadecimal(std::uint64_t value) {
    return fmt::format("{:#x}", value);
}

std::string bytes_text(double bytes) {
    constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    std::size_t unit = 0;
    for (; std::abs(bytes) >= 1024 && unit + 1 < std::size(kUnits); ++unit) {
        bytes /= 1024;
    }
    return fmt::format("{:.{}f} {}", bytes, unit == 0 ? 0 : 1, kUnits[unit]);
}

std::string counted(std::size_t count, const char* one, const char* many) {
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

} // namespace kt3::output
