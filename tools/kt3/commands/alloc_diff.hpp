// SPDX-License-Identifier: MIT
#pragma once
// kt3 alloc diff.

#include "kt3/command_table.hpp"

namespace kt3::cli {

void add_alloc_diff(CLI::App& alloc, Options& options, Chosen& chosen);

// What the JSON of its changes is.
[[nodiscard]] Json changes_form();

} // namespace kt3::cli
