// SPDX-License-Identifier: MIT
#pragma once
// Memory bandwidth counters, from the kernel-interface module.

#include "kt3_mgmt/kt3_mgmt_interface.h"

namespace kt3::sampling {

// Looks the bandwidth entry points up and prepares the device object for them. False, with one log line, when the
// module lacks one or refuses. Without a device object nothing is prepared and the call succeeds.
bool start_bandwidth();

// Asks the module. The record is left alone when there is nothing to ask.
void read_bandwidth(_GFX_BANDWIDTH_INFO& record);

} // namespace kt3::sampling
