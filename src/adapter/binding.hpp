// SPDX-License-Identifier: MIT
#pragma once
// Binding the library to one adapter slot, and releasing it.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>

namespace kt3::adapter {

// Binds the slot at the record's current index. Returns the chip id, or -1; after a failure the steps already done
// stay done. An index that is not a slot changes nothing.
std::int32_t bind_adapter(find_adapter& record);

// Switches usage accounting off, closes the module, frees the device object and drops the preference list.
// The chip id, the DRM descriptor and the debugfs directory stay as they are.
void unbind_adapter(std::int32_t chip_index);

} // namespace kt3::adapter
