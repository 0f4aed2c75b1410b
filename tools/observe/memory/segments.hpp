// SPDX-License-Identifier: MIT
#pragma once
// Size and use of an adapter's memory segments. They are read from one of three places, which count in different units;
// all are given in bytes, and the place is named.

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
    std::optional<std::int64_t> used; // bytes; absent when it could not be read
    std::optional<std::int64_t> total;
    std::optional<std::int64_t> part_of; // the segment whose figures include this one's
};

struct AdapterSegments {
    int slot = 0;
    BusId bus;
    SegmentSource source = SegmentSource::node;
    std::int64_t unit = 1; // bytes that the source counts in
    std::vector<Segment> segments;
    std::vector<Failure> failures; // what went wrong without spoiling all of it
};

// Of a bound adapter. Throws Failure when nothing can be read.
[[nodiscard]] AdapterSegments read_segments(const Library& library, Machine& machine, const Adapter& adapter);

} // namespace kt3::observe
