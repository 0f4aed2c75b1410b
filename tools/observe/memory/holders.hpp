// SPDX-License-Identifier: MIT
#pragma once
// Who holds how much of an adapter's memory. The sums are the library's 64-bit ones.

#include "observe/memory/allocations.hpp"

#include <array>

namespace kt3::observe {

using SegmentBytes = std::array<std::int64_t, KT3_SEGMENT_SLOTS>;

struct Holder {
    Owner owner;
    SegmentBytes segments{};

    [[nodiscard]] std::int64_t total() const;
};

// The open devices, then those that only the allocations name; the largest holder first. Throws Failure when the
// allocations cannot be read.
[[nodiscard]] std::vector<Holder> read_holders(const Library& library, Machine& machine, const Adapter& adapter,
                                               const OpenDevices& devices);

} // namespace kt3::observe
