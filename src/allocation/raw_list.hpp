// SPDX-License-Identifier: MIT
#pragma once
// The list of all allocations, handed out in slices because a client's record holds twenty.

#include "allocation/debug_tree.hpp"
#include "allocation/sums.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace kt3::allocation {

// What this folder keeps between calls, next to the exported list of the leak tracker.
struct AllocationState {
    // The list that later slices of the raw list come from. Both are replaced by every first slice; after a block
    // that could not be obtained the count is the new one while no block is held.
    std::unique_ptr<_GFX_ALLOCATION_INFO[]> held_block = nullptr;
    std::int32_t held_count = 0;
};
AllocationState& allocation_state();

// Holds a copy of the records, ordered by device, for copy_slice. Records of one device come out in the order in which
// the standard sort leaves them. False, with a line on standard output, when memory runs out.
bool hold_sorted(RecordSpan records);

// Fills the slice that `list.trasfer_cnt` asks for from the held records. A slice past the end is reported on standard
// output; like one with a negative number, or of a block that could not be obtained, it holds nothing.
void copy_slice(_GFX_ALLOCATION_RAW_LIST& list);

// A first slice takes a snapshot of the tree and holds it. False when there is no tree or no snapshot, or no memory to
// hold it; `list` is unchanged then. Later slices need no tree.
bool answer_raw_list(const std::optional<DebugTree>& tree, _GFX_ALLOCATION_RAW_LIST& list);

} // namespace kt3::allocation
