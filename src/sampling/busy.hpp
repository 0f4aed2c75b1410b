// SPDX-License-Identifier: MIT
#pragma once
// How busy the engines are, from the kernel-interface module.

#include "kt3_mgmt/kt3_mgmt_interface.h"

namespace kt3::sampling {

// Looks the busy entry points up and logs each interface found; the last one found is used.
// False when the module has no busy interface; what an earlier call found stays in use then.
bool resolve_busy();

// Asks the module and copies the words of the interface in use. The record is left alone when there is nothing to ask.
void read_busy(_GFX_BUSY_INFO& record);

} // namespace kt3::sampling
