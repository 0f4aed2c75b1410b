// SPDX-License-Identifier: MIT
#pragma once
// Page tables as a tree on screen.

#include "observe/vm/dumps.hpp"
#include "output/text_table.hpp"

#include <string>

namespace kt3::output {

// The tables of a client with what stands below them, two spaces deeper for each level.
[[nodiscard]] std::string tree_text(const observe::VmClient& client, const Screen& screen);

} // namespace kt3::output
