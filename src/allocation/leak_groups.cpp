// SPDX-License-Identifier: MIT
#include "allocation/leak_groups.hpp"

#include "allocation/hashed_places.hpp"
#include "allocation/leak_matching.hpp"
#include "allocation/snapshot.hpp"

#include <algorithm>
#include <cstdint>

namespace kt3::allocation {
namespace {

using Record = _GFX_ALLOCATION_INFO;

// The shape of a record as three words.
struct Shape {
    std::uint64_t size;
    std::uint64_t bytes_format;
    std::uint32_t at_type;

    explicit Shape(const Record& record)
        : size(two_fields(record.width, record.height)), bytes_format(two_fields(record.size, record.hw_format)),
          at_type(static_cast<std::uint32_t>(record.at_type)) {}

    [[nodiscard]] bool operator==(const Shape& other) const {
        return ((size ^ other.size) | (bytes_format ^ other.bytes_format) | (at_type ^ other.at_type)) == 0;
    }
    [[nodiscard]] std::uint32_t hash() const { return mixed_hash(size, bytes_format, at_type); }
};

struct Group {
    Shape shape;
    std::uint32_t sum_count; // signed in the record; counted up as unsigned, where overflow is defined
    std::uint32_t first;     // the record that stands for the group
};

// Counts records into groups, in the order in which the shapes first appear.
std::vector<Group> groups_of(RecordSpan records) {
    constexpr std::size_t kUsualGroups = 64;
    std::vector<Group> groups;
    HashedPlaces places(kUsualGroups);
    for (std::size_t at = 0; at < records.size(); ++at) {
        const Shape shape(records[at]);
        const std::uint32_t hash = shape.hash();
        auto& slot = places.find(hash, [&](std::uint32_t place) { return groups[place].shape == shape; });
        if (slot.place != HashedPlaces::kUnused) {
            ++groups[slot.place].sum_count;
            continue;
        }
        slot = {hash, static_cast<std::uint32_t>(groups.size())};
        groups.push_back({shape, static_cast<std::uint32_t>(records[at].sum_count), static_cast<std::uint32_t>(at)});
        places.keep_half_free(groups.size());
    }
    return groups;
}

} // namespace

void write_largest_groups(RecordSpan tracked, LeakResult result) {
    std::vector<Group> groups = groups_of(tracked);
    // The standard sort decides by comparisons alone: sorting these leaves ties as sorting whole records would.
    std::sort(groups.begin(), groups.end(), [](const Group& a, const Group& b) {
        return static_cast<std::int32_t>(a.sum_count) > static_cast<std::int32_t>(b.sum_count);
    });
    for (std::size_t at = 0; at < result.size(); ++at) {
        result[at] = {};
        if (at < groups.size()) {
            result[at] = tracked[groups[at].first];
            result[at].sum_count = static_cast<std::int32_t>(groups[at].sum_count);
        }
    }
}

void look_for_leaks(const DebugTree& tree, std::vector<_GFX_ALLOCATION_INFO>& tracked, LeakResult result) {
    Records current;
    if (take_snapshot(tree, current)) {
        match_tracked(current, tracked);
        write_largest_groups(tracked, result);
    }
}

} // namespace kt3::allocation
