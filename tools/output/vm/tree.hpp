#pragma once
// Page tables as a tree on screen.

#include "observe/vm/dumps.hpp"

namespace kt3::cli {

// Sub-table entries behind each other in one table, whose indexes count up by one and whose addresses grow by the same
// step.
struct PageRun {
    const PageEntry* first;
    std::size_t count;
    std::int64_t step; // 0 for a single entry
};
[[nodiscard]] std::vector<PageRun> fold_runs(const std::vector<PageEntry>& pages);

// The tables of a client with what hangs below them, two blanks deeper for each level.
[[nodiscard]] std::string tree_text(const VmClient& client, bool color);

} // namespace kt3::cli
