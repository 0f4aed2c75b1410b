// SPDX-License-Identifier: MIT
#include "observe/memory/allocation_sums.hpp"

namespace kt3::observe {
namespace {

void add(Tally& tally, const _GFX_ALLOCATION_INFO& record) {
    ++tally.count;
    tally.bytes += bytes_of(record.size);
}

} // namespace

AllocationSums sum_up(const Allocations& allocations, const OpenDevices& devices) {
    AllocationSums sums;
    for (const _GFX_ALLOCATION_INFO& record : allocations) {
        const auto slot = segment_slot(record.segmentid);
        add(sums.all, record);
        add(slot ? sums.segments[*slot] : sums.misplaced, record);
        add(sums.owners[owner_of(record.device, devices)], record);
        add(sums.shapes[shape_of(record)], record);
    }
    return sums;
}

} // namespace kt3::observe
