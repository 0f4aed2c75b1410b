#pragma once
// What this folder keeps between calls, next to the exported list of the leak tracker.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>
#include <memory>

namespace kt3::allocation {

struct AllocationState {
    // The list that later slices of the raw list come from. Both are replaced by every first slice; after a block
    // that could not be obtained the count is the new one while no block is held.
    std::unique_ptr<_GFX_ALLOCATION_INFO[]> held_block = nullptr;
    std::int32_t held_count = 0;
};

AllocationState& allocation_state();

} // namespace kt3::allocation
