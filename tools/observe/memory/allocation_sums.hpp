// SPDX-License-Identifier: MIT
#pragma once
// What allocations add up to.

#include "observe/memory/allocations.hpp"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace kt3::observe {

struct AllocationSums {
    Tally all;
    std::array<Tally, KT3_SEGMENT_SLOTS> segments;
    Tally misplaced; // in no valid segment
    std::map<Owner, Tally> owners;
    std::map<Shape, Tally> shapes;
};

[[nodiscard]] AllocationSums sum_up(const Allocations& allocations, const OpenDevices& devices);

template<typename Key>
[[nodiscard]] std::vector<std::pair<Key, Tally>> largest_first(const std::map<Key, Tally>& tallies) {
    std::vector<std::pair<Key, Tally>> sorted(tallies.begin(), tallies.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.second.bytes > b.second.bytes; });
    return sorted;
}

} // namespace kt3::observe
