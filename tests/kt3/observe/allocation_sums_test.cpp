// SPDX-License-Identifier: MIT
#include "observe/memory/allocation_sums.hpp"

using namespace kt3::observe;

namespace {

_GFX_ALLOCATION_INFO allocation(std::int32_t device, std::int32_t size, std::int32_t segment) {
    _GFX_ALLOCATION_INFO made{};
    made.device = device;
    made.size = size;
    made.segmentid = segment;
    return made;
}

} // namespace

TEST(AllocationSums, CountEachAllocationOncePerKind) {
    const OpenDevices devices = {{7, 41, "player"}};
    const AllocationSums sums =
        sum_up({allocation(7, 100, 0), allocation(7, 20, 9), allocation(8, 3, 1), allocation(8, 5, -1)}, devices);
    EXPECT_EQ(sums.all.count, 4);
    EXPECT_EQ(sums.all.bytes, 128);
    EXPECT_EQ(sums.segments[0].bytes, 100);
    EXPECT_EQ(sums.segments[4].bytes, 20) << "later segments count as the last one";
    EXPECT_EQ(sums.misplaced.bytes, 5);
    EXPECT_EQ(sums.owners.at({7, 41, "player"}).bytes, 120);
    EXPECT_EQ(sums.owners.at({8, std::nullopt, ""}).count, 2);
}

TEST(AllocationSums, ReadSizesAsUnsigned) {
    EXPECT_EQ(sum_up({allocation(1, -1, 0)}, {}).all.bytes, 4294967295);
}

TEST(AllocationSums, PutTheLargestFirst) {
    const auto sorted = largest_first(std::map<int, Tally>{{1, {1, 5}}, {2, {1, 9}}, {3, {1, 5}}});
    EXPECT_EQ(sorted[0].first, 2);
    EXPECT_EQ(sorted[1].first, 1);
    EXPECT_EQ(sorted[2].first, 3);
}
