// SPDX-License-Identifier: MIT
#pragma once
// What changed between two saved documents of `kt3 vm pagetable --json` or `kt3 vm nodes --json`.

#include "output/json.hpp"
#include "output/text_table.hpp"

namespace kt3::output {

struct DumpDifference {
    const char* change; // "added", "removed" or "changed"
    std::string what;   // "client", "table", "sub_table" or "node"
    std::string where;  // words that name it
    Json before;        // null when added
    Json after;         // null when removed
};

// Rows are the same when kind, place in the tree, level and index are; nodes when process, handle and address are. What
// occurs several times is matched in order. A client that came or went is one difference.
[[nodiscard]] std::vector<DumpDifference> compare_dumps(const Json& before, const Json& after);

[[nodiscard]] std::string differences_text(const std::vector<DumpDifference>& differences, const Screen& screen);
[[nodiscard]] Table difference_rows(const std::vector<DumpDifference>& differences); // in CSV
[[nodiscard]] Json differences_json(const std::vector<DumpDifference>& differences);
[[nodiscard]] Json differences_form();

} // namespace kt3::output
