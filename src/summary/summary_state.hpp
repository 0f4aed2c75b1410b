// SPDX-License-Identifier: MIT
#pragma once
// What this folder keeps between calls: facts about the adapter that are gathered once, and where segments are read.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>

namespace kt3::summary {

enum class SegmentSource : std::uint8_t { allocations, node, heap_pages_and_allocations };

// Adapters are told apart by their chip id: two of the same chip share the facts.
struct SummaryState {
    std::int32_t summary_chip = -1;          // whose facts `summary` holds; set at the end of each refresh
    _GPU_ADAPTER_SUMMARY summary = {};       // the kept words only; stale once another chip is asked for
    std::int32_t extended_chip = -1;         // whose facts `extended` holds; set even when the page could not be read
    _GPU_ADAPTER_SUMMARY_EXT2 extended = {}; // the kept fields only; stale once another chip is asked for
    // Chosen by choose_segment_source; stays when another adapter is selected.
    SegmentSource segment_source = SegmentSource::allocations;
};
SummaryState& summary_state();

// The adapter that a summary is about, as the client's record names it.
struct SummaryAdapter {
    std::int32_t chip_id;
    std::int32_t card; // N of /proc/gpuinfo_N and of the connector directory
};

} // namespace kt3::summary
