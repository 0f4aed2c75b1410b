// SPDX-License-Identifier: MIT
#pragma once
// What is wrong with dumps, as text and JSON.

#include "observe/vm/dumps.hpp"
#include "output/json.hpp"
#include "output/text_table.hpp"

namespace kt3::output {

using observe::DumpFinding;

// The findings of a report, as its last section; nothing without findings. Of many of one kind the first ones are
// shown and the others counted.
[[nodiscard]] std::string findings_text(const std::vector<DumpFinding>& findings, const Screen& screen);
[[nodiscard]] std::string finding_line(const DumpFinding& finding);
[[nodiscard]] Json findings_json(const std::vector<DumpFinding>& findings);
[[nodiscard]] Json findings_form();

} // namespace kt3::output
