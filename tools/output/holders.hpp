// SPDX-License-Identifier: MIT
#pragma once
// Who holds how much memory, one row per open device or per group of owners.

#include "output/owner.hpp"
#include "output/schema.hpp"

#include <span>

namespace kt3::output {

using observe::Grouping;
using observe::Holder;
using observe::HolderGroup;

// A holder and whom its process belongs to.
struct OwnedMemory {
    Holder holder;
    Attribution by;
    bool replaced = false; // another process has the owner's pid now
};
[[nodiscard]] OwnedMemory owned_memory(const Holder& holder, const observe::Attributions& attributions);

[[nodiscard]] Json holder_object(const Place& place, const OwnedMemory& memory);
[[nodiscard]] Table holder_table(const Place& place, std::span<const OwnedMemory> memory, Format format);
[[nodiscard]] Json holder_form();

[[nodiscard]] Json group_object(const Place& place, const HolderGroup& group);
[[nodiscard]] Table group_table(const Place& place, std::span<const HolderGroup> groups, const Grouping& grouping,
                                Format format);
[[nodiscard]] Json group_form();

} // namespace kt3::output
