// SPDX-License-Identifier: MIT
#pragma once
// Finding the GPUs of the machine and recording them.

#include "kt3_mgmt/kt3_mgmt_interface.h"

namespace kt3::adapter {

// Loads libdrm and enumerates into the record; without libdrm nothing is touched.
void find_adapters(find_adapter& record);

// Records up to three of the maker's adapters and one GPU of another vendor among the first three DRM devices.
// False when libdrm is not loaded (record untouched) or there is no DRM device (chip_num is 0).
bool enumerate_adapters(find_adapter& record);

} // namespace kt3::adapter
