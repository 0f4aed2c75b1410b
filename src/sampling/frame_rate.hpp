// SPDX-License-Identifier: MIT
#pragma once
// Frame rates, counted by the kernel-interface module or read from the driver's nodes.

#include "kt3_mgmt/kt3_mgmt_interface.h"

namespace kt3::sampling {

// Chooses where frames are counted and takes the sample that later rates start from.
void start_frame_rates();

// Takes a sample and writes the rates since the previous one. False, with nothing written, when no time has passed.
bool read_frame_rates(_GFX_FRAME_RATES& rates);

} // namespace kt3::sampling
