// SPDX-License-Identifier: MIT
#include "observe/memory/snapshots.hpp"

using namespace kt3::observe;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

Held held(std::int32_t handle, std::int32_t size, std::int32_t device = 7) {
    return {0, handle, {device, 41, "player"}, {64, 64, size, 11, 1}};
}

} // namespace

TEST(Snapshots, CountWhatAppearedAndVanished) {
    const AllocationChanges changes = compare_snapshots({held(1, 10), held(2, 10)}, {held(2, 10), held(3, 30)});
    EXPECT_EQ(changes.appeared, 1);
    EXPECT_EQ(changes.vanished, 1);
    EXPECT_EQ(changes.adapters.at(0).growth().bytes, 20);
    EXPECT_EQ(changes.adapters.at(0).growth().count, 0);
}

TEST(Snapshots, LeaveOutWhatDidNotChange) {
    const AllocationChanges changes = compare_snapshots({held(1, 10)}, {held(1, 10)});
    EXPECT_THAT(changed(changes.shapes), IsEmpty());
    EXPECT_EQ(changes.appeared + changes.vanished, 0);
}

TEST(Snapshots, PutTheLargestGrowthFirst) {
    const AllocationChanges changes =
        compare_snapshots({held(1, 10), held(2, 20)}, {held(2, 20), held(3, 20), held(4, 50)});
    const auto shapes = changed(changes.shapes);
    ASSERT_THAT(shapes, SizeIs(3));
    EXPECT_EQ(shapes[0].first.second.size, 50);
    EXPECT_EQ(shapes[1].first.second.size, 20);
    EXPECT_EQ(shapes[2].second.growth().bytes, -10);
}
