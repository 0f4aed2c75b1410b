// SPDX-License-Identifier: MIT
#pragma once
// Recognising the allocations of one snapshot in the next.

#include "allocation/snapshot.hpp"

namespace kt3::allocation {

// Brings `tracked` up to the snapshot `current`. Each tracked record in turn takes the first record of `current` that
// has its identity: handle, width, height, size, hw_format and at_type. One that finds its match stays, with
// `seen_count` raised by one and its other fields as they were, and the match leaves `current`; one that finds none is
// dropped. What remains in `current` is appended. Takes time proportional to the number of records.
void match_tracked(Records& current, Records& tracked);

} // namespace kt3::allocation
