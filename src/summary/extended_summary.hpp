// SPDX-License-Identifier: MIT
#pragma once
// The extended summary, from the driver's text page: versions and limits are read once per chip, usages every time.

#include "summary/gpuinfo_page.hpp"
#include "summary/summary_state.hpp"

namespace kt3::summary {

// Zeroes the record and marks its usages and temperature as absent (0xFFFFFFFF).
void clear_extended_summary(_GPU_ADAPTER_SUMMARY_EXT2& record);

// Fills a cleared record. Nothing is filled when the page cannot be read.
void read_extended_summary(_GPU_ADAPTER_SUMMARY_EXT2& record, const SummaryAdapter& adapter);

// The two halves of what the page says; a key that is missing leaves its field alone.
void parse_kept_facts(const GpuinfoPage& page, _GPU_ADAPTER_SUMMARY_EXT2& record);
void parse_fresh_values(const GpuinfoPage& page, _GPU_ADAPTER_SUMMARY_EXT2& record);

} // namespace kt3::summary
