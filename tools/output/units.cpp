#include "output/units.hpp"

#include <fmt/format.h>
#include <iterator>

namespace kt3::output {

std::string hexadecimal(std::uint64_t value) {
    return fmt::format("{:#x}", value);
}

std::string shown_size(std::uint64_t bytes) {
    constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    std::size_t unit = 0;
    auto value = static_cast<double>(bytes);
    while (value >= 1024 && unit + 1 < std::size(kUnits)) {
        value /= 1024;
        ++unit;
    }
    return value == static_cast<double>(static_cast<std::uint64_t>(value))
               ? fmt::format("{:.0f} {}", value, kUnits[unit])
               : fmt::format("{:.1f} {}", value, kUnits[unit]);
}

std::string bytes_text(std::int64_t bytes) {
    constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; (value >= 1024 || value <= -1024) && unit + 1 < std::size(kUnits); ++unit) {
        value /= 1024;
    }
    return unit == 0 ? fmt::format("{} B", bytes) : fmt::format("{:.1f} {}", value, kUnits[unit]);
}

std::string counted(std::size_t count, const char* one, const char* many) {
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

} // namespace kt3::output
