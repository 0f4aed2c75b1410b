// SPDX-License-Identifier: MIT
#include "observe/memory/holders.hpp"

#include "observe/interrupt.hpp"
#include "observe/library/library_lines.hpp"

#include <algorithm>
#include <map>
#include <numeric>

namespace kt3::observe {
namespace {

using BytesByDevice = std::map<std::int32_t, SegmentBytes>;

// Each allocation once, whatever happened while they were read.
BytesByDevice add_up(const Allocations& allocations) {
    BytesByDevice sums;
    for (const _GFX_ALLOCATION_INFO& allocation : allocations) {
        SegmentBytes& segments = sums[allocation.device];
        if (const auto slot = segment_slot(allocation.segmentid)) {
            segments[*slot] += bytes_of(allocation.size);
        }
    }
    return sums;
}

// What follows the last entry of the array is zero.
bool is_used(const _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1& entry) {
    return entry.device != 0 || std::any_of(std::begin(entry.segment_size), std::end(entry.segment_size),
                                            [](std::uint64_t bytes) { return bytes != 0; });
}

// The library's sums, unless its lines say that they hold something twice or leave devices out.
BytesByDevice read_sums(const Library& library, Machine& machine, const Adapter& adapter) {
    const auto get = KT3_ENTRY(library, get_device_allocation_summary_ext1);
    _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 entries[ALLOCATION_SUMMARY_MAX] = {};
    int result = 0;
    const LibraryLines lines = lines_during(library, [&] { result = get(entries); });
    check_interrupt();
    if (result < 0) {
        throw unreadable(adapter, "allocations", "the allocations");
    }
    if (lines.reread || lines.overflow) {
        return add_up(read_allocations(library, machine, adapter));
    }
    BytesByDevice sums;
    for (const _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1& entry : entries) {
        if (is_used(entry)) {
            std::transform(std::begin(entry.segment_size), std::end(entry.segment_size), sums[entry.device].begin(),
                           [](std::uint64_t bytes) { return static_cast<std::int64_t>(bytes); });
        }
    }
    return sums;
}

} // namespace

std::int64_t Holder::total() const {
    return std::accumulate(segments.begin(), segments.end(), std::int64_t{0});
}

std::vector<Holder> read_holders(const Library& library, Machine& machine, const Adapter& adapter,
                                 const OpenDevices& devices) {
    std::vector<Holder> holders;
    for (const OpenDevice& open : devices) {
        holders.push_back({{open.device, open.pid, open.name, open.ended}});
    }
    for (const auto& [device, segments] : read_sums(library, machine, adapter)) {
        const auto found = std::find_if(holders.begin(), holders.end(), [handle = device](const Holder& holder) {
            return holder.owner.device == handle;
        });
        if (found == holders.end()) {
            holders.push_back({owner_of(device, {}), segments});
        } else {
            found->segments = segments;
        }
    }
    std::stable_sort(holders.begin(), holders.end(),
                     [](const Holder& a, const Holder& b) { return a.total() > b.total(); });
    return holders;
}

} // namespace kt3::observe
