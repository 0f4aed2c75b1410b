// SPDX-License-Identifier: MIT
#pragma once
// Driver nodes of one adapter as readings. Numbers come from the library, which answers 0 for whatever it cannot read;
// a 0 is looked into to tell a real one from an absent node.

#include "nodes/node_table.hpp"
#include "observe/adapter/machine.hpp"
#include "observe/reading.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace kt3::observe {

// What a node holds, up to the first 4096 bytes.
[[nodiscard]] Reading<std::string> read_page(int directory, const char* name);

// The decimal number that the text begins with, white space aside.
[[nodiscard]] Reading<std::int64_t> number_in(std::string_view text);

// The decimal number in a node.
[[nodiscard]] Reading<std::int64_t> number_at(int directory, const char* name);

// `value` is what the library made of the file. A 0 stands for nothing: the file is read again, and that reading alone
// tells the value or why there is none.
[[nodiscard]] Reading<std::int64_t> judged(std::int64_t value, int directory, const char* name);

// Makes the adapter the one that the accessors below read. Binding it is not needed.
void make_current(const Library& library, Machine& machine, const Adapter& adapter);

// `index` is a nodes::NodeIndex, or for sensors a nodes::HwmonIndex.
[[nodiscard]] Reading<std::int64_t> read_number(const Library& library, const Adapter& adapter, std::int32_t index);
[[nodiscard]] Reading<std::int64_t> read_hwmon_number(const Library& library, const Adapter& adapter,
                                                      std::int32_t index);
[[nodiscard]] Reading<std::int64_t> read_temperature(const Library& library, const Adapter& adapter);

// The first line of a node, without white space at its ends.
[[nodiscard]] Reading<std::string> read_text(const Adapter& adapter, const char* name);

} // namespace kt3::observe
