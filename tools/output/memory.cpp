// SPDX-License-Identifier: MIT
#include "output/memory.hpp"

#include <fmt/format.h>

namespace kt3::output {

std::string process_text(const Owner& owner) {
    if (!owner.pid) {
        return "(unknown)";
    }
    return owner.name.empty() ? "(gone)" : owner.name;
}

std::string owner_text(const Owner& owner) {
    return owner.pid ? fmt::format("{} ({})", process_text(owner), *owner.pid)
                     : fmt::format("(unknown, device {})", owner.device);
}

std::string shape_text(const Shape& shape) {
    return fmt::format("{}x{}, {} B, format {}, type {}", shape.width, shape.height, shape_bytes(shape),
                       shape.hw_format, shape.at_type);
}

std::optional<std::string> known_process(const Owner& owner) {
    return owner.pid && !owner.name.empty() ? std::optional(owner.name) : std::nullopt;
}

const char* owner_kind(const Owner& owner) {
    if (!owner.pid) {
        return "unknown";
    }
    return owner.name.empty() ? "gone" : "process";
}

} // namespace kt3::output
