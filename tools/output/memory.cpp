// SPDX-License-Identifier: MIT
#include "output/memory.hpp"

#include <fmt/format.h>

namespace kt3::output {

std::string process_text(const Owner& owner) {
    if (!owner.pid) {
        return "(unknown)";
    }
    if (owner.ended) {
        return "(gone)";
    }
    return owner.name.empty() ? "(not visible)" : owner.name;
}

std::string owner_text(const Owner& owner) {
    if (!owner.pid) {
        return fmt::format("(unknown, device {})", owner.device);
    }
    return is_hidden(owner) ? fmt::format("pid {} not visible here", *owner.pid)
                            : fmt::format("{} ({})", process_text(owner), *owner.pid);
}

std::string shape_text(const Shape& shape) {
    return fmt::format("{}x{}, {} B, format {}, type {}", shape.width, shape.height, shape_bytes(shape),
                       shape.hw_format, shape.at_type);
}

std::optional<std::string> known_process(const Owner& owner) {
    return owner.pid && !owner.ended && !owner.name.empty() ? std::optional(owner.name) : std::nullopt;
}

const char* owner_kind(const Owner& owner) {
    if (!owner.pid) {
        return "unknown";
    }
    return owner.ended ? "gone" : owner.name.empty() ? "not_visible" : "process";
}

} // namespace kt3::output
