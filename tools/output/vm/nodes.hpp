// SPDX-License-Identifier: MIT
#pragma once
// Allocation nodes as text, rows and JSON.

#include "observe/vm/dumps.hpp"
#include "output/json.hpp"
#include "output/text_table.hpp"

namespace kt3::output {

using observe::VmNode;

// Nodes by process: a heading with the sum, then the nodes.
[[nodiscard]] std::string nodes_text(const std::vector<VmNode>& nodes, const Screen& screen);
[[nodiscard]] Table node_rows(const std::vector<VmNode>& nodes); // in CSV
[[nodiscard]] Json nodes_json(const std::vector<VmNode>& nodes);
[[nodiscard]] Json nodes_form();

} // namespace kt3::output
