// SPDX-License-Identifier: MIT
#include "observe/owner/groups.hpp"

using namespace kt3::observe;
using ::testing::SizeIs;

namespace {

Attribution process(std::int32_t pid, const char* user, std::optional<std::string> container = {}) {
    Attribution made;
    made.pid = pid;
    made.visible = true;
    made.user = user;
    made.container = std::move(container);
    return made;
}

const Attributions kProcesses = {process(41, "ada", "c1"), process(42, "bob", "c1"), process(43, "ada")};

const std::vector<Holder> kHolders = {
    {{1, 41, "a"}, {1, 2, 3, 4, 5}},      {{2, 41, "a"}, {10, 0, 0, 0, 0}}, // a second device of the same process
    {{3, 42, "b"}, {100, 0, 0, 0, 7}},    {{4, 43, "c"}, {1000, 0, 0, 0, 0}}, {{5, 44, "", true}, {0, 1, 0, 0, 0}},
    {{6, 45, "", true}, {0, 2, 0, 0, 0}}, {{7, 46, ""}, {0, 0, 1, 0, 0}},     {{8, std::nullopt, ""}, {0, 0, 0, 1, 0}},
};

const HolderGroup* group(const std::vector<HolderGroup>& groups, const GroupKey& key) {
    for (const HolderGroup& one : groups) {
        if (one.key == key) {
            return &one;
        }
    }
    return nullptr;
}

} // namespace

TEST(Groups, AddUpToWhatAllHoldInEverySegment) {
    SegmentBytes all{};
    for (const Holder& holder : kHolders) {
        for (std::size_t at = 0; at < all.size(); ++at) {
            all[at] += holder.segments[at];
        }
    }
    for (const Grouping& grouping : kGroupings) {
        SegmentBytes sums{};
        for (const HolderGroup& one : group_holders(grouping, kHolders, kProcesses)) {
            for (std::size_t at = 0; at < sums.size(); ++at) {
                sums[at] += one.segments[at];
            }
        }
        EXPECT_EQ(sums, all) << grouping.word;
    }
}

TEST(Groups, CountAProcessOnceHoweverManyDevicesItHas) {
    const auto users = group_holders(grouping_of("user"), kHolders, kProcesses);
    const HolderGroup* ada = group(users, {Belonging::named, "ada"});
    ASSERT_NE(ada, nullptr);
    EXPECT_EQ(ada->processes, 2);
    EXPECT_EQ(ada->total(), 15 + 10 + 1000);
    EXPECT_EQ(ada->segments[4], 5);
}

TEST(Groups, HaveOneEachForWhatBelongsToNone) {
    const auto containers = group_holders(grouping_of("container"), kHolders, kProcesses);
    EXPECT_THAT(containers, SizeIs(4));
    EXPECT_EQ(group(containers, {Belonging::named, "c1"})->processes, 2);
    EXPECT_EQ(group(containers, {Belonging::none, ""})->total(), 1000 + 1);
    EXPECT_EQ(group(containers, {Belonging::none, ""})->processes, 1) << "a device without a process is none";
    EXPECT_EQ(group(containers, {Belonging::ended, ""})->processes, 2);
    EXPECT_EQ(group(containers, {Belonging::ended, ""})->total(), 3);
    EXPECT_EQ(group(containers, {Belonging::not_visible, ""})->total(), 1);
}

TEST(Groups, OfNamesLikeThoseOfTheOthersAreGroupsOfTheirOwn) {
    const Attributions odd = {process(41, "(none)"), process(42, "")};
    const auto users = group_holders(grouping_of("user"), kHolders, odd);
    EXPECT_EQ(group(users, {Belonging::named, "(none)"})->total(), 25);
    EXPECT_EQ(group(users, {Belonging::named, ""})->total(), 107);
    EXPECT_EQ(group(users, {Belonging::none, ""})->total(), 1);
}

TEST(Groups, OfSumsOfAllocationsKeepCountsAndBytes) {
    const std::map<Owner, Tally> owners = {
        {{1, 41, "a"}, {2, 20}}, {{2, 41, "a"}, {1, 5}}, {{3, 42, "b"}, {4, 400}}, {{4, 44, "", true}, {8, 8}}};
    const auto users = group_tallies(grouping_of("user"), owners, kProcesses);
    ASSERT_THAT(users, SizeIs(3));
    EXPECT_EQ(users[0].key.name, "bob") << "the largest first";
    EXPECT_EQ(users[1].key.name, "ada");
    EXPECT_EQ(users[1].tally.count, 3);
    EXPECT_EQ(users[1].tally.bytes, 25);
    EXPECT_EQ(users[1].processes, 1);
    EXPECT_EQ(users[2].key.belonging, Belonging::ended);
}
