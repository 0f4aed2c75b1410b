// SPDX-License-Identifier: MIT
#include "observe/memory/snapshots.hpp"

#include <iterator>

namespace kt3::observe {
namespace {

void add(Tally& tally, const Held& held) {
    ++tally.count;
    tally.bytes += bytes_of(held.shape.size);
}

void count(AllocationChanges& changes, const Snapshot& snapshot, Tally TallyChange::*side) {
    for (const Held& held : snapshot) {
        add(changes.adapters[held.slot].*side, held);
        add(changes.processes[{held.slot, held.owner}].*side, held);
        add(changes.shapes[{held.slot, held.shape}].*side, held);
    }
}

} // namespace

Snapshot snapshot_of(int slot, const Allocations& allocations, const OpenDevices& devices) {
    Snapshot snapshot;
    snapshot.reserve(allocations.size());
    for (const _GFX_ALLOCATION_INFO& record : allocations) {
        snapshot.push_back({slot, record.handle, owner_of(record.device, devices), shape_of(record)});
    }
    return snapshot;
}

AllocationChanges compare_snapshots(Snapshot before, Snapshot after) {
    AllocationChanges changes;
    count(changes, before, &TallyChange::before);
    count(changes, after, &TallyChange::after);
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    Snapshot kept;
    std::set_intersection(before.begin(), before.end(), after.begin(), after.end(), std::back_inserter(kept));
    changes.appeared = static_cast<std::int64_t>(after.size() - kept.size());
    changes.vanished = static_cast<std::int64_t>(before.size() - kept.size());
    return changes;
}

} // namespace kt3::observe
