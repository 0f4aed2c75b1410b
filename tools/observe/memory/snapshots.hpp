// SPDX-License-Identifier: MIT
#pragma once
// Two looks at the allocations of adapters, and what changed between them.

#include "observe/memory/allocations.hpp"

#include <algorithm>
#include <map>
#include <utility>

namespace kt3::observe {

// One allocation of a snapshot. The same one of two looks is equal in all of this.
struct Held {
    int slot = 0;
    std::int32_t handle = 0;
    Owner owner;
    Shape shape;

    // NOLINTNEXTLINE(modernize-use-nullptr): the 0 that it finds is the compiler's, in a comparison that it made
    auto operator<=>(const Held&) const = default;
};
using Snapshot = std::vector<Held>;

[[nodiscard]] Snapshot snapshot_of(int slot, const Allocations& allocations, const OpenDevices& devices);

struct TallyChange {
    Tally before, after;

    // More, or less when negative.
    [[nodiscard]] Tally growth() const { return {after.count - before.count, after.bytes - before.bytes}; }
};

struct AllocationChanges {
    std::map<int, TallyChange> adapters; // by slot
    std::map<std::pair<int, Owner>, TallyChange> processes;
    std::map<std::pair<int, Shape>, TallyChange> shapes;
    std::int64_t appeared = 0, vanished = 0;
};

[[nodiscard]] AllocationChanges compare_snapshots(Snapshot before, Snapshot after);

// Those that did change, the largest growth first.
template<typename Key>
[[nodiscard]] std::vector<std::pair<Key, TallyChange>> changed(const std::map<Key, TallyChange>& changes) {
    std::vector<std::pair<Key, TallyChange>> rows;
    for (const auto& [key, change] : changes) {
        if (change.growth().bytes != 0 || change.growth().count != 0) {
            rows.emplace_back(key, change);
        }
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& a, const auto& b) { return a.second.growth().bytes > b.second.growth().bytes; });
    return rows;
}

} // namespace kt3::observe
