// SPDX-License-Identifier: MIT
#include "observe/owner/groups.hpp"

#include <algorithm>
#include <functional>
#include <iterator>
#include <numeric>
#include <set>

namespace kt3::observe {
namespace {

// A process may have several devices open; it counts once.
template<typename Group>
class Groups {
public:
    Group& take(GroupKey key, const Owner& owner) {
        auto& [group, pids] = groups_[key];
        if (owner.pid) {
            pids.insert(*owner.pid);
        }
        group.key = std::move(key);
        group.processes = static_cast<std::int64_t>(pids.size());
        return group;
    }

    [[nodiscard]] std::vector<Group> all() const {
        std::vector<Group> list;
        for (const auto& [key, entry] : groups_) {
            list.push_back(entry.first);
        }
        return list;
    }

private:
    std::map<GroupKey, std::pair<Group, std::set<std::int32_t>>> groups_;
};

} // namespace

std::vector<std::string> grouping_words() {
    std::vector<std::string> words;
    for (const Grouping& grouping : kGroupings) {
        words.emplace_back(grouping.word);
    }
    return words;
}

const Grouping& grouping_of(std::string_view word) {
    return *std::find_if(std::begin(kGroupings), std::end(kGroupings),
                         [&](const Grouping& grouping) { return grouping.word == word; });
}

GroupKey group_of(const Grouping& grouping, const Owner& owner, const Attributions& attributions) {
    if (!owner.pid) {
        return {Belonging::none, ""};
    }
    if (owner.ended) {
        return {Belonging::ended, ""};
    }
    const Attribution attribution = attribution_of(owner, attributions);
    if (!attribution.visible) {
        return {Belonging::not_visible, ""};
    }
    const std::optional<std::string> name =
        grouping.name == nullptr ? std::to_string(*owner.pid) : attribution.*grouping.name;
    return name ? GroupKey{Belonging::named, *name} : GroupKey{Belonging::none, ""};
}

std::int64_t HolderGroup::total() const {
    return std::accumulate(segments.begin(), segments.end(), std::int64_t{0});
}

std::vector<HolderGroup> group_holders(const Grouping& grouping, std::span<const Holder> holders,
                                       const Attributions& attributions) {
    Groups<HolderGroup> groups;
    for (const Holder& holder : holders) {
        SegmentBytes& sums = groups.take(group_of(grouping, holder.owner, attributions), holder.owner).segments;
        std::transform(sums.begin(), sums.end(), holder.segments.begin(), sums.begin(), std::plus<>());
    }
    return groups.all();
}

std::vector<TallyGroup> group_tallies(const Grouping& grouping, const std::map<Owner, Tally>& owners,
                                      const Attributions& attributions) {
    Groups<TallyGroup> groups;
    for (const auto& [owner, tally] : owners) {
        Tally& sum = groups.take(group_of(grouping, owner, attributions), owner).tally;
        sum.count += tally.count;
        sum.bytes += tally.bytes;
    }
    auto list = groups.all();
    std::stable_sort(list.begin(), list.end(),
                     [](const TallyGroup& a, const TallyGroup& b) { return a.tally.bytes > b.tally.bytes; });
    return list;
}

} // namespace kt3::observe
