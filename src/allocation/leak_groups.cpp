#include "allocation/leak_groups.hpp"

#include "allocation/leak_matching.hpp"
#include "allocation/snapshot.hpp"

#include <algorithm>
#include <cstdint>

namespace kt3::allocation {
namespace {

using Record = _GFX_ALLOCATION_INFO;

// The shape of a record as three words.
struct Shape {
    std::uint64_t width_height;
    std::uint64_t size_format;
    std::uint32_t at_type;

    explicit Shape(const Record& record)
        : width_height(two(record.width, record.height)), size_format(two(record.size, record.hw_format)),
          at_type(static_cast<std::uint32_t>(record.at_type)) {}

    static std::uint64_t two(std::int32_t low, std::int32_t high) {
        return static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32 | static_cast<std::uint32_t>(low);
    }
    [[nodiscard]] bool operator==(const Shape& other) const {
        return ((width_height ^ other.width_height) | (size_format ^ other.size_format) | (at_type ^ other.at_type)) ==
               0;
    }
    // The upper half of the product depends on every bit.
    [[nodiscard]] std::uint32_t hash() const {
        const std::uint64_t first = width_height * 0x9E3779B97F4A7C15U;
        const std::uint64_t mixed = (first ^ (first >> 32)) + size_format * 0xC2B2AE3D27D4EB4FU + at_type;
        return static_cast<std::uint32_t>((mixed * 0x165667B19E3779F9U) >> 32);
    }
};

struct Group {
    Shape shape;
    std::uint32_t sum_count; // signed in the record; counted up as unsigned, where running over is defined
    std::uint32_t first;     // the record that stands for the group
};

// Counts records into groups, in the order in which the shapes first appear.
class ShapeGroups {
public:
    explicit ShapeGroups(RecordSpan records) : slots_(kFewestSlots) {
        for (std::size_t at = 0; at < records.size(); ++at) {
            count(records, static_cast<std::uint32_t>(at));
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

    void count(RecordSpan records, std::uint32_t at) {
        const Shape shape(records[at]);
        const std::uint32_t hash = shape.hash();
        std::size_t place = hash & mask_;
        while (slots_[place].group != kUnused) {
            Group& group = groups_[slots_[place].group];
            if (slots_[place].hash == hash && group.shape == shape) {
                ++group.sum_count;
                return;
            }
            place = (place + 1) & mask_;
        }
        slots_[place] = {hash, static_cast<std::uint32_t>(groups_.size())};
        groups_.push_back({shape, static_cast<std::uint32_t>(records[at].sum_count), at});
        if (groups_.size() * 2 > slots_.size()) {
            double_slots();
        }
    }

    void double_slots() {
        std::vector<Slot> larger(slots_.size() * 2);
        mask_ = larger.size() - 1;
        for (const Slot& slot : slots_) {
            if (slot.group != kUnused) {
                std::size_t place = slot.hash & mask_;
                while (larger[place].group != kUnused) {
                    place = (place + 1) & mask_;
                }
                larger[place] = slot;
            }
        }
        slots_.swap(larger);
    }

    std::vector<Group> groups_;
    std::vector<Slot> slots_; // at most half of them used
    std::size_t mask_ = kFewestSlots - 1;
};

} // namespace

void write_largest_groups(RecordSpan tracked, LeakResult result) {
    ShapeGroups shapes(tracked);
    std::vector<Group>& groups = shapes.groups();
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
