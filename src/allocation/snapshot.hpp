// SPDX-License-Identifier: MIT
#pragma once
// All live allocations of one adapter.

#include "allocation/debug_tree.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <vector>

namespace kt3::allocation {

using Records = std::vector<_GFX_ALLOCATION_INFO>;

// Appends one record per allocation in the order of the listing. False, with a line on standard output, when the
// listing or one of its pages cannot be read; the records before that page stay. The conversion errors of
// parse_info_page pass through.
bool walk_allocations(const DebugTree& tree, Records& records);

// Walks up to ten times, as allocations may be freed during the walk, with a pause after each failure. What a failed
// walk appended stays, so a retried snapshot holds some allocations twice.
bool take_snapshot(const DebugTree& tree, Records& records);

} // namespace kt3::allocation
