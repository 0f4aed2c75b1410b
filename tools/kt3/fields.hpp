// SPDX-License-Identifier: MIT
#pragma once
// Everything that can be asked about an adapter by name, for --query.

#include "observe/adapter/binding.hpp"
#include "observe/adapter/samplers.hpp"
#include "output/row.hpp"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kt3::cli {

// An adapter that answers queries, bound while it lives if one of the fields needs that.
class QueriedAdapter {
public:
    QueriedAdapter(const observe::Library& library, observe::Machine& machine, const observe::Adapter& adapter,
                   bool bound);

    const observe::Library& library;
    observe::Machine& machine;
    const observe::Adapter& adapter;

    [[nodiscard]] bool complete() const { return binding_ && binding_->complete(); }
    [[nodiscard]] observe::ModuleReadings sample(); // of what the module counts

private:
    std::unique_ptr<observe::Binding> binding_;
    std::unique_ptr<observe::ModuleSampler> sampler_;
};

// Fields that are read together.
struct FieldGroup {
    std::vector<const output::Heading*> headings;
    void (*read)(output::Row& row, QueriedAdapter& adapter);
    bool needs_binding;
    bool moves; // rates need a look before
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
