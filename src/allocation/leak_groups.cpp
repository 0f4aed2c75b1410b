#include "allocation/leak_groups.hpp"

#include "allocation/leak_matching.hpp"
#include "allocation/snapshot.hpp"

#include <algorithm>
#include <cstdint>

namespace kt3::allocation {
namespace {

using Record = _GFX_ALLOCATION_INFO;

struct Group {
    std::int32_t sum_count;
    std::uint32_t first; // the record that stands for the group
};

bool same_shape(const Record& a, const Record& b) {
    return ((a.width ^ b.width) | (a.height ^ b.height) | (a.size ^ b.size) | (a.hw_format ^ b.hw_format) |
            (a.at_type ^ b.at_type)) == 0;
}

std::uint64_t two(std::int32_t high, std::int32_t low) {
    return static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32 | static_cast<std::uint32_t>(low);
}

std::uint32_t shape_hash(const Record& record) {
    std::uint64_t hash = two(record.width, record.height) * 0x9E3779B97F4A7C15U;
    hash = (hash ^ (hash >> 32) ^ two(record.hw_format, record.size)) * 0xC2B2AE3D27D4EB4FU;
    hash = (hash ^ (hash >> 29) ^ static_cast<std::uint32_t>(record.at_type)) * 0x165667B19E3779F9U;
    return static_cast<std::uint32_t>(hash >> 32);
}

// Counts records into groups, in the order in which the shapes first appear.
class ShapeGroups {
public:
    explicit ShapeGroups(RecordSpan records) : records_(records), slots_(kFewestSlots) {
        for (std::size_t at = 0; at < records.size(); ++at) {
            count(static_cast<std::uint32_t>(at));
        }
    }
    std::vector<Group>& groups() { return groups_; }

private:
    static constexpr std::size_t kFewestSlots = 128;
    static constexpr std::uint32_t kUnused = 0xFFFFFFFF;

    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t group = kUnused;
    };

    void count(std::uint32_t at) {
        const std::uint32_t hash = shape_hash(records_[at]);
        Slot& slot = find(hash, records_[at]);
        if (slot.group != kUnused) {
            std::int32_t& sum = groups_[slot.group].sum_count;
            sum = static_cast<std::int32_t>(static_cast<std::uint32_t>(sum) + 1);
            return;
        }
        slot = {hash, static_cast<std::uint32_t>(groups_.size())};
        groups_.push_back({records_[at].sum_count, at});
        if (groups_.size() * 2 > slots_.size()) {
            double_slots();
        }
    }

    Slot& find(std::uint32_t hash, const Record& wanted) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = hash & mask;
        while (slots_[at].group != kUnused &&
               (slots_[at].hash != hash || !same_shape(records_[groups_[slots_[at].group].first], wanted))) {
            at = (at + 1) & mask;
        }
        return slots_[at];
    }

    void double_slots() {
        std::vector<Slot> larger(slots_.size() * 2);
        const std::size_t mask = larger.size() - 1;
        for (const Slot& slot : slots_) {
            std::size_t at = slot.hash & mask;
            while (slot.group != kUnused && larger[at].group != kUnused) {
                at = (at + 1) & mask;
            }
            if (slot.group != kUnused) {
                larger[at] = slot;
            }
        }
        slots_.swap(larger);
    }

    RecordSpan records_;
    std::vector<Group> groups_;
    std::vector<Slot> slots_;
};

} // namespace

void write_largest_groups(RecordSpan tracked, LeakResult result) {
    ShapeGroups shapes(tracked);
    std::vector<Group>& groups = shapes.groups();
    // The standard sort decides by comparisons alone: sorting these leaves ties as sorting whole records would.
    std::sort(groups.begin(), groups.end(), [](const Group& a, const Group& b) { return a.sum_count > b.sum_count; });
    for (std::size_t at = 0; at < result.size(); ++at) {
        result[at] = {};
        if (at < groups.size()) {
            result[at] = tracked[groups[at].first];
            result[at].sum_count = groups[at].sum_count;
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
