// SPDX-License-Identifier: MIT
#pragma once
// Which process owns each device.

#include "allocation/debug_tree.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <span>

namespace kt3::allocation {

using ProcessMap = std::span<_GFX_DEVICE_PID_MAP, ALLOCATION_SUMMARY_MAX>;

// Zeroes the map and fills one entry per device in the order of the listing, fifty at most. False, with a line on
// standard output, when the listing or a device's page cannot be read; the entries before it stay filled. A handle
// that is not a number throws as parse_device_page does.
bool read_process_map(const DebugTree& tree, ProcessMap maps);

} // namespace kt3::allocation
