// SPDX-License-Identifier: MIT
#pragma once
// Sub-table entries that continue each other.

#include "observe/vm/dumps.hpp"

namespace kt3::observe {

// Consecutive sub-table entries of one table, whose indexes count up by one and whose addresses grow by the same
// step.
struct PageRun {
    const PageEntry* first;
    std::size_t count;
    std::int64_t step; // 0 for a single entry
};
[[nodiscard]] std::vector<PageRun> fold_runs(const std::vector<PageEntry>& pages);

} // namespace kt3::observe
