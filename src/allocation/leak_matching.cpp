// SPDX-License-Identifier: MIT
#include "allocation/leak_matching.hpp"

#include "allocation/hashed_places.hpp"

#include <algorithm>
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

std::uint32_t identity_hash(const Record& record) {
    return mixed_hash(two_fields(record.handle, record.size), two_fields(record.width, record.height),
                      two_fields(record.hw_format, record.at_type));
}

// Finds the records of one list by identity, first come first served. Records of equal identity form a chain in list
// order that starts in one slot; a slot whose chain is used up keeps naming its last record, so that probing goes on
// past it.
class IdentityIndex {
public:
    explicit IdentityIndex(std::span<const Record> records)
        : records_(records), next_(records.size(), kEnd), heads_(records.size()) {
        // From the back, so that the first record of a chain ends up at its head.
        for (std::size_t at = records.size(); at-- > 0;) {
            const std::uint32_t hash = identity_hash(records[at]);
            HashedPlaces::Slot& slot = find(hash, records[at]);
            next_[at] = slot.place;
            slot = {hash, static_cast<std::uint32_t>(at)};
        }
    }

    // Takes the first record left of that identity; false when there is none.
    bool take_first(const Record& wanted) {
        HashedPlaces::Slot& slot = find(identity_hash(wanted), wanted);
        if (slot.place == kEnd || (slot.place & kUsedUp) != 0) {
            return false;
        }
        const std::uint32_t first = slot.place;
        slot.place = next_[first] == kEnd ? first | kUsedUp : next_[first];
        next_[first] = kTaken;
        return true;
    }

    [[nodiscard]] bool taken(std::size_t at) const { return next_[at] == kTaken; }

private:
    static constexpr std::uint32_t kEnd = HashedPlaces::kUnused; // no record, in a slot or at the end of a chain
    static constexpr std::uint32_t kTaken = 0xFFFFFFFE;          // in next_: this record has found its match
    static constexpr std::uint32_t kUsedUp = 0x80000000;

    // The slot of that identity, or the unused one where it belongs.
    HashedPlaces::Slot& find(std::uint32_t hash, const Record& wanted) {
        return heads_.find(hash,
                           [&](std::uint32_t place) { return same_allocation(records_[place & ~kUsedUp], wanted); });
    }

    std::span<const Record> records_;
    std::vector<std::uint32_t> next_;
    HashedPlaces heads_;
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
