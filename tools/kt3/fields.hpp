// SPDX-License-Identifier: MIT
#pragma once
// Everything that can be asked about an adapter by name, for --query.

#include "collect/observation.hpp"
#include "output/row.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace kt3::cli {

// Fields that are read together.
struct FieldGroup {
    std::vector<const output::Heading*> headings;
    void (*add)(output::Row& row, const observe::Adapter& adapter, const collect::Observation& look);
    collect::Groups groups; // that a look needs for them
    bool moves;             // rates need a look before
};

struct Field {
    std::string
        name; // "temperature_c", or with its group where the plain name stands for another: "page.temperature_c"
    const output::Heading* heading;
    const FieldGroup* group;
};

// In the order of `kt3 --list-fields`.
[[nodiscard]] const std::vector<Field>& all_fields();

// By its own name, or by the one that other tools have for it; null when there is none.
[[nodiscard]] const Field* find_field(std::string_view name);

} // namespace kt3::cli
