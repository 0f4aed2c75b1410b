// SPDX-License-Identifier: MIT
#include "observe/memory/segments.hpp"

#include "observe/interrupt.hpp"
#include "observe/library/library_lines.hpp"
#include "observe/memory/allocations.hpp"

#include <fmt/format.h>

namespace kt3::observe {
namespace {

// By the value of SegmentSource. The node's figures are thousands of bytes, and the library hands out thousandths of
// them.
constexpr std::int64_t kUnits[] = {1'000'000, 1 << 20, 1 << 20};

constexpr std::int64_t kHeapWrap = std::int64_t{1} << 32; // a heap page's figures lose whole multiples of it
constexpr int kHeaps = 4;
constexpr const char* kHeapNames[] = {"invalid", "local", "pcie unsnooped", "pcie snooped", "others"};
constexpr int kFoldedInto = 4; // this segment's figures include those of the later ones

SegmentSource choose_source(const Library& library, Machine& machine, const Adapter& adapter) {
    machine.record.current_index = adapter.slot;
    const auto init = KT3_ENTRY(library, segment_init);
    std::int32_t answer = 0;
    lines_during(library, [&] { answer = init(&machine.record); });
    check_interrupt();
    if (answer <= 0) {
        return SegmentSource::allocation_sums;
    }
    return adapter.family->vendor == adapter::kNewerVendor ? SegmentSource::node : SegmentSource::heap_pages;
}

// The node tells how many there are only by what is not 0.
int segment_count(const _GFX_SEGMENT_INFO& words, SegmentSource source) {
    int count = source == SegmentSource::node ? 0 : KT3_SEGMENT_SLOTS;
    for (int at = count; at < KT3_SEGMENTS; ++at) {
        count = words.total_size[at] != 0 || words.used_size[at] != 0 ? at + 1 : count;
    }
    return count;
}

std::optional<std::string> name_of(int at, int count, SegmentSource source) {
    switch (source) {
    case SegmentSource::heap_pages:
        return kHeapNames[at];
    case SegmentSource::allocation_sums:
        return at == kFoldedInto ? std::optional<std::string>("and all later ones") : std::nullopt;
    case SegmentSource::node:
        break;
    }
    if (at > kFoldedInto) {
        return fmt::format("part of {}", kFoldedInto);
    }
    return at == kFoldedInto && count > kFoldedInto + 1 ? std::optional<std::string>("with all later ones")
                                                        : std::nullopt;
}

std::vector<Segment> segments_of(const _GFX_SEGMENT_INFO& words, SegmentSource source, std::int64_t unit) {
    const int count = segment_count(words, source);
    std::vector<Segment> segments;
    for (int at = 0; at < count; ++at) {
        Segment& segment = segments.emplace_back();
        segment.number = at;
        segment.name = name_of(at, count, source);
        segment.used = words.used_size[at] * unit;
        if (words.total_size[at] != 0) {
            segment.total = words.total_size[at] * unit;
        }
        if (source == SegmentSource::heap_pages && at < kHeaps) {
            segment.modulo = kHeapWrap;
        }
        if (source == SegmentSource::node && at > kFoldedInto) {
            segment.part_of = kFoldedInto;
        }
    }
    return segments;
}

Failure counted_twice(const Adapter& adapter) {
    return {ExitStatus::failure, "unstable",
            fmt::format("allocations of GPU {} were freed while they were read; sums are too high", adapter.slot),
            "try again"};
}

} // namespace

AdapterSegments read_segments(const Library& library, Machine& machine, const Adapter& adapter) {
    AdapterSegments read;
    read.slot = adapter.slot;
    read.source = choose_source(library, machine, adapter);
    read.unit = kUnits[static_cast<std::size_t>(read.source)];
    const auto get = KT3_ENTRY(library, get_segment_info);
    _GFX_SEGMENT_INFO words{};
    std::int32_t answer = 0;
    const LibraryLines lines = lines_during(library, [&] { answer = get(&words); });
    check_interrupt();
    if (answer < 0) {
        read.failures.push_back(unreadable(adapter, "allocations", "the allocations"));
        if (read.source == SegmentSource::allocation_sums) {
            throw read.failures.front();
        }
    } else if (lines.reread) {
        read.failures.push_back(counted_twice(adapter));
    }
    read.segments = segments_of(words, read.source, read.unit);
    return read;
}

} // namespace kt3::observe
