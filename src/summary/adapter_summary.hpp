// SPDX-License-Identifier: MIT
#pragma once
// The short summary of the current adapter: clocks as they are now, and facts that are gathered once per chip.

#include "summary/summary_state.hpp"

namespace kt3::summary {

// Writes every word, except that the newer family's memory type and bit width are left as they are.
void read_summary(_GPU_ADAPTER_SUMMARY& record, const SummaryAdapter& adapter);

} // namespace kt3::summary
