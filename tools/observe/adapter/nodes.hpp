// SPDX-License-Identifier: MIT
#pragma once
// Driver nodes of one adapter as readings. A node is read once, and that one look tells the value or why there is none.

#include "nodes/node_table.hpp"
#include "observe/adapter/machine.hpp"
#include "observe/plausible.hpp"
#include "observe/reading.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace kt3::observe {

// What a node holds, up to the first 4096 bytes.
[[nodiscard]] Reading<std::string> read_page(int directory, const char* name);

// The decimal number that the text begins with, white space aside.
[[nodiscard]] Reading<std::int64_t> number_in(std::string_view text);

// The same, when it is what such a number can be.
[[nodiscard]] Reading<std::int64_t> number_in(std::string_view text, Quantity quantity);

// The decimal number in a node.
[[nodiscard]] Reading<std::int64_t> number_at(int directory, const char* name, Quantity quantity = Quantity::any);

// Makes the adapter the one that the library's summaries and registers are of. Binding it is not needed.
void make_current(const Library& library, Machine& machine, const Adapter& adapter);

// `index` is a nodes::NodeIndex, or for sensors a nodes::HwmonIndex.
[[nodiscard]] Reading<std::int64_t> read_number(const Adapter& adapter, std::int32_t index,
                                                Quantity quantity = Quantity::any);
[[nodiscard]] Reading<std::int64_t> read_sensor(const Adapter& adapter, std::int32_t index,
                                                Quantity quantity = Quantity::any);
[[nodiscard]] Reading<std::int64_t> read_temperature(const Adapter& adapter);

// The first line of a node, without white space at its ends.
[[nodiscard]] Reading<std::string> read_text(const Adapter& adapter, const char* name);

} // namespace kt3::observe
