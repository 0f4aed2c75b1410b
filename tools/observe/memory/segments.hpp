// SPDX-License-Identifier: MIT
#pragma once
// Size and use of an adapter's memory segments. The library reads them from one of three places, which count in
// different units; all are given in bytes, and the place is named.

#include "observe/adapter/machine.hpp"
#include "observe/failure.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kt3::observe {

enum class SegmentSource { node, heap_pages, allocation_sums };

struct Segment {
    std::int64_t number = 0;
    std::optional<std::string> name;
    std::int64_t used = 0; // bytes
    std::optional<std::int64_t> total;
    std::optional<std::int64_t> modulo;  // used and total are given less whole multiples of it
    std::optional<std::int64_t> part_of; // the segment whose figures include this one's
};

struct AdapterSegments {
    int slot = 0;
    SegmentSource source = SegmentSource::node;
    std::int64_t unit = 1; // bytes that the source counts in
    std::vector<Segment> segments;
    std::vector<Failure> failures; // what went wrong without spoiling all of it
};

// Of a bound adapter. Throws Failure when nothing can be read.
[[nodiscard]] AdapterSegments read_segments(const Library& library, Machine& machine, const Adapter& adapter);

} // namespace kt3::observe
