// SPDX-License-Identifier: MIT
#pragma once
// Page tables as flat rows.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

namespace kt3::vmdump {

std::uint32_t count_rows(const std::vector<data_vectors>& list);

// Fill rows from rows[row] on and advance `row`. What page-table rows have no value for stays as the client left it.
// A malformed address raises the "stoi" errors with the rows before it filled.
void fill_rows(_PAGETABLE_DATA* rows, const std::vector<vidmm_vm_pt>& entries, int& row, std::int64_t pid);
void fill_rows(_PAGETABLE_DATA* rows, const std::vector<vidmm_vm_pte_elt3k>& entries, int& row, std::int64_t pid);

// Client by client: page tables by level, then sub-tables by level.
void fill_all_rows(_PAGETABLE_DATA* rows, const std::vector<data_vectors>& list);

} // namespace kt3::vmdump
