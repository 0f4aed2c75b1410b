// SPDX-License-Identifier: MIT
#include "allocation/sums.hpp"

#include "allocation/snapshot.hpp"
#include "interface/say_line.hpp"

#include <algorithm>

namespace kt3::allocation {
namespace {

constexpr std::int32_t kOtherSegments = 4;
constexpr std::size_t kMostDevices = 49; // the process map holds 50; clients rely on both limits

std::size_t slot_of(std::int32_t segmentid) {
    return static_cast<std::size_t>(std::min(segmentid, kOtherSegments));
}

// The entry of `device`, opened when it is new; null when there are too many devices.
template<typename Entry>
Entry* entry_of(std::int32_t device, std::span<Entry> entries, std::size_t& used) {
    for (std::size_t at = 0; at < used; ++at) {
        if (entries[at].device == device) {
            return &entries[at];
        }
    }
    if (used == kMostDevices) {
        return nullptr;
    }
    entries[used].device = device;
    return &entries[used++];
}

template<typename Entry>
void sum_records(RecordSpan records, std::span<Entry> entries) {
    using Sum = std::remove_extent_t<decltype(Entry::segment_size)>;
    std::size_t used = 0;
    for (const _GFX_ALLOCATION_INFO& record : records) {
        Entry* entry = entry_of(record.device, entries, used);
        if (entry == nullptr) {
            interface::say_line("exceed ALLOCATION_SUMMARY_MAX !!! ");
        }
        if (record.segmentid < 0) {
            interface::say_line("invalid segmentid !!! ");
        } else if (entry != nullptr) {
            entry->segment_size[slot_of(record.segmentid)] += static_cast<Sum>(record.size);
        }
    }
}

template<typename Entries>
bool read_summary_into(const DebugTree& tree, Entries entries) {
    std::fill(entries.begin(), entries.end(), typename Entries::value_type{});
    Records records;
    if (!take_snapshot(tree, records)) {
        return false;
    }
    sum_by_device(records, entries);
    return true;
}

} // namespace

void total_by_segment(RecordSpan records, SegmentTotals totals) {
    // Single precision on purpose: large totals move in steps of more than one byte, and clients compare with that.
    constexpr float kPerKilo = 0.0009765625F;
    float sums[KT3_SEGMENT_SLOTS] = {};
    for (const _GFX_ALLOCATION_INFO& record : records) {
        if (record.segmentid >= 0) {
            sums[slot_of(record.segmentid)] += static_cast<float>(record.size);
        }
    }
    std::transform(std::begin(sums), std::end(sums), totals.begin(), [](float bytes) {
        return static_cast<std::uint32_t>(static_cast<std::int64_t>(bytes * kPerKilo * kPerKilo));
    });
}

void sum_by_device(RecordSpan records, Summary entries) {
    sum_records<_GFX_DEVICE_ALLOCATION_SUMMARY>(records, entries);
}

void sum_by_device(RecordSpan records, SummaryExt1 entries) {
    sum_records<_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1>(records, entries);
}

bool read_segment_totals(const DebugTree& tree, SegmentTotals totals) {
    Records records;
    const bool taken = take_snapshot(tree, records);
    total_by_segment(taken ? RecordSpan(records) : RecordSpan(), totals);
    return taken;
}

bool read_summary(const DebugTree& tree, Summary entries) {
    return read_summary_into(tree, entries);
}

bool read_summary(const DebugTree& tree, SummaryExt1 entries) {
    return read_summary_into(tree, entries);
}

} // namespace kt3::allocation
