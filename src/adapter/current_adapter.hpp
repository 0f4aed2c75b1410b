// SPDX-License-Identifier: MIT
#pragma once
// The adapter that every reading works on.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>

namespace kt3::adapter {

// True when `index` names one of the three slots of a find_adapter record.
bool is_slot(std::int32_t index);

// The current slot's record, inside the client's find_adapter record; null before one was selected.
const gpu_infos* current_adapter();

// "/sys/bus/pci/devices/<bus id>" of the current adapter; empty before one was selected.
const char* current_pci_directory();

// Makes the slot at the record's current index current and logs it. An index that is not a slot changes nothing.
void select_adapter(find_adapter& record);

} // namespace kt3::adapter
