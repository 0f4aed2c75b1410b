// SPDX-License-Identifier: MIT
#pragma once
// The page tables of every client.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

namespace kt3::vmdump {

// Appends one record per client below the driver directory. False when a directory or file cannot be read; the
// records appended until then stay.
bool walk_clients(const char* driver_directory, std::vector<data_vectors>& list);

} // namespace kt3::vmdump
