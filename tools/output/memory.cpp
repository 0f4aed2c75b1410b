// SPDX-License-Identifier: MIT
#include "output/memory.hpp"

#include "output/schema.hpp"

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

Json slot_object(int slot) {
    return {{"slot", slot}};
}

Json slot_form() {
    Json form = object_form();
    add_member(form, "slot", {{"type", "integer"}, {"minimum", 0}, {"maximum", 2}});
    return form;
}

Table slot_table() {
    return {{{"GPU", "slot", Align::right}}, {}};
}

void add_slot_row(Table& table, int slot, const Row& row, Format format) {
    add_row(table, row, format);
    auto& cells = table.rows.back();
    cells.insert(cells.begin(), std::to_string(slot));
}

} // namespace kt3::output
