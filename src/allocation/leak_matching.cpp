#include "allocation/leak_matching.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <span>

namespace kt3::allocation {
namespace {

using Record = _GFX_ALLOCATION_INFO;

// No branch between the fields: nearly every comparison made here succeeds.
bool same_allocation(const Record& a, const Record& b) {
    return ((a.handle ^ b.handle) | (a.width ^ b.width) | (a.height ^ b.height) | (a.size ^ b.size) |
            (a.hw_format ^ b.hw_format) | (a.at_type ^ b.at_type)) == 0;
}

std::uint64_t two(std::int32_t high, std::int32_t low) {
    return static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32 | static_cast<std::uint32_t>(low);
}

std::uint32_t identity_hash(const Record& record) {
    std::uint64_t hash = two(record.handle, record.size) * 0x9E3779B97F4A7C15U;
    hash = (hash ^ (hash >> 32) ^ two(record.width, record.height)) * 0xC2B2AE3D27D4EB4FU;
    hash = (hash ^ (hash >> 29) ^ two(record.hw_format, record.at_type)) * 0x165667B19E3779F9U;
    return static_cast<std::uint32_t>(hash >> 32);
}

// Finds the records of one list by identity, first come first served. Records of equal identity form a chain in list
// order behind one slot; a slot whose chain is used up keeps naming its last record, so that probing goes on past it.
class IdentityIndex {
public:
    explicit IdentityIndex(std::span<const Record> records)
        : records_(records), next_(records.size(), kEnd),
          slots_(std::bit_ceil(std::max<std::size_t>(records.size() * 2, 16))) {
        // From the back, so that the first record of a chain ends up at its head.
        for (std::size_t at = records.size(); at-- > 0;) {
            const std::uint32_t hash = identity_hash(records[at]);
            Slot& slot = find(hash, records[at]);
            next_[at] = slot.record;
            slot = {hash, static_cast<std::uint32_t>(at)};
        }
    }

    // Takes the first record left of that identity; false when there is none.
    bool take_first(const Record& wanted) {
        Slot& slot = find(identity_hash(wanted), wanted);
        if (slot.record == kEnd || (slot.record & kUsedUp) != 0) {
            return false;
        }
        const std::uint32_t first = slot.record;
        slot.record = next_[first] == kEnd ? first | kUsedUp : next_[first];
        next_[first] = kTaken;
        return true;
    }

    [[nodiscard]] bool taken(std::size_t at) const { return next_[at] == kTaken; }

private:
    static constexpr std::uint32_t kEnd = 0xFFFFFFFF;   // no record: an unused slot, or the end of a chain
    static constexpr std::uint32_t kTaken = 0xFFFFFFFE; // in next_: this record has found its match
    static constexpr std::uint32_t kUsedUp = 0x80000000;

    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t record = kEnd;
    };

    // The slot of that identity, or the unused one where it belongs. At most half of the slots are used.
    Slot& find(std::uint32_t hash, const Record& wanted) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = hash & mask;
        while (slots_[at].record != kEnd &&
               (slots_[at].hash != hash || !same_allocation(records_[slots_[at].record & ~kUsedUp], wanted))) {
            at = (at + 1) & mask;
        }
        return slots_[at];
    }

    std::span<const Record> records_;
    std::vector<std::uint32_t> next_;
    std::vector<Slot> slots_;
};

void raise_seen_count(Record& record) {
    record.seen_count = static_cast<std::int32_t>(static_cast<std::uint32_t>(record.seen_count) + 1);
}

// Records from `first` on for which `keep` holds move up, in order; the others are removed.
template<typename Keep>
void keep_if(Records& records, std::size_t first, Keep keep) {
    std::size_t kept = first;
    for (std::size_t at = first; at < records.size(); ++at) {
        if (keep(at)) {
            if (kept != at) {
                records[kept] = records[at];
            }
            ++kept;
        }
    }
    records.erase(records.begin() + static_cast<std::ptrdiff_t>(kept), records.end());
}

// How many records agree from the start on. Each of them is its partner's first match, as all before it are taken.
std::size_t match_in_order(const Records& current, Records& tracked) {
    const std::size_t both = std::min(current.size(), tracked.size());
    std::size_t run = 0;
    while (run < both && same_allocation(current[run], tracked[run])) {
        raise_seen_count(tracked[run]);
        ++run;
    }
    return run;
}

} // namespace

void match_tracked(Records& current, Records& tracked) {
    if (tracked.empty()) {
        tracked = current;
        return;
    }
    const std::size_t run = match_in_order(current, tracked);
    if (run < tracked.size()) {
        IdentityIndex rest(std::span<const Record>(current).subspan(run));
        keep_if(tracked, run, [&](std::size_t at) {
            if (!rest.take_first(tracked[at])) {
                return false;
            }
            raise_seen_count(tracked[at]);
            return true;
        });
        keep_if(current, run, [&](std::size_t at) { return !rest.taken(at - run); });
    }
    current.erase(current.begin(), current.begin() + static_cast<std::ptrdiff_t>(run));
    tracked.insert(tracked.end(), current.begin(), current.end());
}

} // namespace kt3::allocation
