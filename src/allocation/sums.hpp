// SPDX-License-Identifier: MIT
#pragma once
// Memory in use, summed from a snapshot per segment and per device.

#include "allocation/debug_tree.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>
#include <span>

namespace kt3::allocation {

using RecordSpan = std::span<const _GFX_ALLOCATION_INFO>;
using SegmentTotals = std::span<std::uint32_t, KT3_SEGMENT_SLOTS>;
using Summary = std::span<_GFX_DEVICE_ALLOCATION_SUMMARY, ALLOCATION_SUMMARY_MAX>;
using SummaryExt1 = std::span<_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1, ALLOCATION_SUMMARY_MAX>;

// MiB per segment slot, rounded toward zero. Records of an invalid segment are left out.
void total_by_segment(RecordSpan records, SegmentTotals totals);

// Bytes per device and segment slot, into zeroed entries, in the order in which the devices first appear. 49 of the 50
// entries are used; records of further devices, and of invalid segments, are reported on standard output and left out.
void sum_by_device(RecordSpan records, Summary entries);
void sum_by_device(RecordSpan records, SummaryExt1 entries);

// The same from a fresh snapshot. False when none could be taken: the totals are 0 then, the summaries are all zero.
bool read_segment_totals(const DebugTree& tree, SegmentTotals totals);
bool read_summary(const DebugTree& tree, Summary entries);
bool read_summary(const DebugTree& tree, SummaryExt1 entries);

} // namespace kt3::allocation
