// SPDX-License-Identifier: MIT
#pragma once
// Changing the current adapter's power-management settings.

#include "kt3_mgmt/kt3_mgmt_interface.h"

namespace kt3::nodes {

// Sends one command to the driver for each field of `wanted` that differs from `last_read`. Clocks as the driver
// reports them and reserved words are never sent. A node that cannot be opened is skipped.
void write_dvfs_changes(const _GPU_DVFS_REGISTER_DATA& wanted, const _GPU_DVFS_REGISTER_DATA& last_read);

} // namespace kt3::nodes
