// SPDX-License-Identifier: MIT
#pragma once
// The index that every sub-table entry gets: level and index of the page-table entry that owns its run.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

namespace kt3::vmdump {

// Hands the level and index of the owner to every entry of the run that the entry heads.
void stamp_run(vidmm_vm_pte_elt3k& entry);

// The same for all runs of the record.
void stamp_record(data_vectors& record);

} // namespace kt3::vmdump
