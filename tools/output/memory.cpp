#include "output/memory.hpp"

#include "observe/text.hpp"

#include <fmt/format.h>

namespace kt3::output {

std::string process_text(const observe::Owner& owner) {
    if (!owner.pid) {
        return "(unknown)";
    }
    return owner.name.empty() ? "(gone)" : owner.name;
}

std::string owner_text(const observe::Owner& owner) {
    return owner.pid ? fmt::format("{} ({})", process_text(owner), *owner.pid)
                     : fmt::format("(unknown, device {})", owner.device);
}

std::string pid_text(const observe::Owner& owner) {
    return owner.pid ? std::to_string(*owner.pid) : "";
}

std::string shape_text(const observe::Shape& shape) {
    return fmt::format("{}x{}, {} B, format {}, type {}", shape.width, shape.height, observe::bytes_of(shape.size),
                       shape.hw_format, shape.at_type);
}

void put_owner(Json& object, const observe::Owner& owner) {
    object["device"] = owner.device;
    object["pid"] = owner.pid ? Json(*owner.pid) : Json(nullptr);
    object["process"] = owner.pid && !owner.name.empty() ? Json(observe::valid_utf8(owner.name)) : Json(nullptr);
    object["owner"] = !owner.pid ? "unknown" : owner.name.empty() ? "gone" : "process";
}

void put_shape(Json& object, const observe::Shape& shape) {
    object["width"] = shape.width;
    object["height"] = shape.height;
    object["size_bytes"] = observe::bytes_of(shape.size);
    object["hw_format"] = shape.hw_format;
    object["at_type"] = shape.at_type;
}

void put_tally(Json& object, const observe::Tally& tally) {
    object["allocations"] = tally.count;
    object["bytes"] = tally.bytes;
}

} // namespace kt3::output
