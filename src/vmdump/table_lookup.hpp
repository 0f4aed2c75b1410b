// SPDX-License-Identifier: MIT
#pragma once
// From one table of a client to the next, and the debug lines of single entries.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

#include <cstdint>
#include <string_view>

namespace kt3::vmdump {

// The first entry with that index in the run that starts at `run`; null when there is none.
const vidmm_vm_pte_elt3k* entry_of_run(const vidmm_vm_pte_elt3k* run, std::int32_t index);

// Below the last level 0 entry.
const vidmm_vm_pte_elt3k* below_level0(const data_vectors& record, std::int32_t index);

// Below the first of the tables that lies at the address, which is given as a sub-table entry holds it.
const vidmm_vm_pte_elt3k* below_table_at(const std::vector<vidmm_vm_pt>& tables, std::string_view address,
                                         std::int32_t index);

// The address text, empty for null.
std::string_view address_text(const vidmm_vm_pte_elt3k* entry);

void print_page_table(const vidmm_vm_pt& entry);
void print_sub_table(const vidmm_vm_pte_elt3k& entry);

} // namespace kt3::vmdump
