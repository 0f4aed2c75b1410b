// SPDX-License-Identifier: MIT
#pragma once
// The largest groups of live allocations of one shape.

#include "allocation/debug_tree.hpp"
#include "allocation/sums.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <span>
#include <vector>

namespace kt3::allocation {

using LeakResult = std::span<_GFX_ALLOCATION_INFO, KT3_MEMLEAK_GROUPS>;

// Groups the records by shape (width, height, size, hw_format, at_type) and writes the largest groups, each as its
// first record with `sum_count` raised by one for every further record. Groups of equal count come out in the order in
// which the standard sort leaves them. Zero records fill the rest.
void write_largest_groups(RecordSpan tracked, LeakResult result);

// One look of the leak tracker: takes a snapshot, brings `tracked` up to it and writes the groups. Nothing changes when
// the snapshot fails.
void look_for_leaks(const DebugTree& tree, std::vector<_GFX_ALLOCATION_INFO>& tracked, LeakResult result);

} // namespace kt3::allocation
