// SPDX-License-Identifier: MIT
#pragma once
// GPU address spaces as text, rows and JSON.

#include "observe/vm/address_spaces.hpp"
#include "output/json.hpp"
#include "output/text_table.hpp"

namespace kt3::output {

using observe::AddressSpace;
using observe::Span;

// A bar for each region, then ranges, holes and overlaps, the largest first.
[[nodiscard]] std::string map_text(const AddressSpace& space, const Screen& screen);

// One character for each of `cells` equal parts of the region: "#" used, "+" used in part, "!" overlap, "." hole.
[[nodiscard]] std::string region_bar(const AddressSpace& space, const Span& region, std::size_t cells);

[[nodiscard]] Table span_rows(const std::vector<AddressSpace>& spaces); // in CSV
[[nodiscard]] Json space_json(const AddressSpace& space);
[[nodiscard]] Json space_form();

} // namespace kt3::output
