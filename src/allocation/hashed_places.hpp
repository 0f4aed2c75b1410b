// SPDX-License-Identifier: MIT
#pragma once
// Finding a record of a list by what identifies it.

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kt3::allocation {

// Two fields as one word.
inline std::uint64_t two_fields(std::int32_t high, std::int32_t low) {
    return static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32 | static_cast<std::uint32_t>(low);
}

// The upper half of the last product depends on every bit of the three words.
inline std::uint32_t mixed_hash(std::uint64_t first, std::uint64_t second, std::uint64_t third) {
    const std::uint64_t spread = first * 0x9E3779B97F4A7C15U;
    const std::uint64_t mixed = (spread ^ (spread >> 32)) + second * 0xC2B2AE3D27D4EB4FU + third;
    return static_cast<std::uint32_t>((mixed * 0x165667B19E3779F9U) >> 32);
}

// A hash table of places in a list that somebody else holds. At most half of its slots are used.
class HashedPlaces {
public:
    static constexpr std::uint32_t kUnused = 0xFFFFFFFF;

    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t place = kUnused;
    };

    explicit HashedPlaces(std::size_t places) : slots_(std::bit_ceil(std::max<std::size_t>(places * 2, 16))) {}

    // The slot for whose place `is_wanted` holds, or the unused one where that place belongs.
    template<typename IsWanted>
    Slot& find(std::uint32_t hash, IsWanted is_wanted) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = hash & mask;
        while (slots_[at].place != kUnused && (slots_[at].hash != hash || !is_wanted(slots_[at].place))) {
            at = (at + 1) & mask;
        }
        return slots_[at];
    }

    // To be called with the number of places after one was added. Slots may move.
    void keep_half_free(std::size_t places) {
        if (places * 2 <= slots_.size()) {
            return;
        }
        HashedPlaces larger(slots_.size());
        for (const Slot& slot : slots_) {
            if (slot.place != kUnused) {
                larger.find(slot.hash, [](std::uint32_t) { return false; }) = slot;
            }
        }
        slots_.swap(larger.slots_);
    }

private:
    std::vector<Slot> slots_;
};

} // namespace kt3::allocation
