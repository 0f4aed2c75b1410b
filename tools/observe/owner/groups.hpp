// SPDX-License-Identifier: MIT
#pragma once
// Memory added up by what its owners belong to. Every holder is in one group, so groups add up to what all hold.

#include "observe/memory/allocation_sums.hpp"
#include "observe/memory/holders.hpp"
#include "observe/owner/ownership.hpp"

#include <compare>
#include <span>
#include <string_view>

namespace kt3::observe {

// What owners can be grouped by.
struct Grouping {
    const char* word;
    const char* heading;                           // on screen
    std::optional<std::string> Attribution::*name; // of the group; null where each process stands for itself
};
inline constexpr Grouping kGroupings[] = {
    {"process", "PROCESS", nullptr},      {"user", "USER", &Attribution::user},
    {"unit", "UNIT", &Attribution::unit}, {"container", "CONTAINER", &Attribution::container},
    {"pod", "POD", &Attribution::pod},    {"job", "JOB", &Attribution::job},
};

[[nodiscard]] std::vector<std::string> grouping_words();

// One of kGroupings; the word has to be there.
[[nodiscard]] const Grouping& grouping_of(std::string_view word);

enum class Belonging {
    named,
    none, // to no such group, or there is no process
    ended,
    not_visible, // nobody can say
};

struct GroupKey {
    Belonging belonging = Belonging::none;
    std::string name; // of a named one

    // NOLINTNEXTLINE(modernize-use-nullptr): the 0 that it finds is the compiler's, in a comparison that it made
    auto operator<=>(const GroupKey&) const = default;
};

[[nodiscard]] GroupKey group_of(const Grouping& grouping, const Owner& owner, const Attributions& attributions);

struct HolderGroup {
    GroupKey key;
    std::int64_t processes = 0;
    SegmentBytes segments{};

    [[nodiscard]] std::int64_t total() const;
};
[[nodiscard]] std::vector<HolderGroup> group_holders(const Grouping& grouping, std::span<const Holder> holders,
                                                     const Attributions& attributions);

struct TallyGroup {
    GroupKey key;
    std::int64_t processes = 0;
    Tally tally;
};
// The largest first.
[[nodiscard]] std::vector<TallyGroup> group_tallies(const Grouping& grouping, const std::map<Owner, Tally>& owners,
                                                    const Attributions& attributions);

} // namespace kt3::observe
