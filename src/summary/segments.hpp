// SPDX-License-Identifier: MIT
#pragma once
// Sizes and use of the memory segments, from whichever source the adapter's driver has.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>
#include <span>

namespace kt3::summary {

// Tries the source that the family of the chip in the record's current slot has and keeps it when it answers, else the
// sums of allocations. Returns whether the source answered; without a record or a slot there is none to try.
bool choose_segment_source(const find_adapter* record);

// segment_id:0,total_size:1000000,used_size:500000,
// One page of the "segment_info" node. False when it names no segment. A zero byte follows the last one of `page`.
bool parse_segment_page(std::span<const char> page, _GFX_SEGMENT_INFO& segments);

// The current adapter's node. False when it is too short to be one or names no segment.
bool read_segment_node(_GFX_SEGMENT_INFO& segments);

// The heap pages below the driver's directory. False when the directory cannot be opened, with a line on standard
// output, or when a page cannot be read or lacks a key; what was filled until then stays.
bool read_heap_pages(const char* driver_directory, _GFX_SEGMENT_INFO& segments);

// Zeroes the record and fills it from the chosen source for the bound adapter. Gives the client's answer, which differs
// by source: 1 or -1 from the node, 0 or -1 wherever the sums of allocations take part.
std::int32_t read_segments(_GFX_SEGMENT_INFO& segments);

} // namespace kt3::summary
