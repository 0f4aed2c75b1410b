// SPDX-License-Identifier: MIT
#pragma once
// The trees that the exported routines read.

#include "adapter/binding_state.hpp"
#include "adapter/current_adapter.hpp"
#include "allocation/debug_tree.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>
#include <optional>

namespace kt3::allocation {

// The bound adapter's directory, read by the rules of the given VA flag.
inline DebugTree bound_tree(std::int32_t is_va_driver) {
    return {adapter::debugfs_directory(), is_va_driver != 0};
}

// The same by the flag of the record's current slot; nothing without a record or when its index names no slot.
inline std::optional<DebugTree> tree_of_current_slot(const find_adapter* adapters) {
    if (adapters == nullptr || !adapter::is_slot(adapters->current_index)) {
        return std::nullopt;
    }
    return bound_tree(adapters->IS_VA_driver[adapters->current_index]);
}

} // namespace kt3::allocation
