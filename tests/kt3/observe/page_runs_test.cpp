// SPDX-License-Identifier: MIT
#include "observe/vm/page_runs.hpp"

using namespace kt3::observe;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

PageEntry page(std::int32_t index, std::int64_t address, std::int32_t owner = 0) {
    PageEntry made;
    made.index = index;
    made.address = address;
    made.address_known = 1;
    made.owner = owner;
    return made;
}

std::vector<std::size_t> run_lengths(const std::vector<PageEntry>& pages) {
    std::vector<std::size_t> lengths;
    for (const PageRun& run : fold_runs(pages)) {
        lengths.push_back(run.count);
    }
    return lengths;
}

} // namespace

TEST(VmRuns, FoldEqualStepsOfOneTable) {
    EXPECT_THAT(run_lengths({}), IsEmpty());
    EXPECT_THAT(run_lengths({page(0, 1), page(1, 2), page(2, 3)}), ElementsAre(3));
    EXPECT_THAT(run_lengths({page(0, 1), page(1, 1), page(2, 1)}), ElementsAre(3));
    EXPECT_THAT(run_lengths({page(0, 1), page(1, 2), page(2, 4)}), ElementsAre(2, 1));
    EXPECT_THAT(run_lengths({page(0, 1), page(2, 2)}), ElementsAre(1, 1));
    EXPECT_THAT(run_lengths({page(0, 1, 0), page(1, 2, 1)}), ElementsAre(1, 1));
    EXPECT_THAT(run_lengths({page(2, 3), page(1, 2)}), ElementsAre(1, 1));
}

TEST(VmRuns, AreNotFoldedAcrossOtherAttributes) {
    PageEntry snooped = page(1, 2);
    snooped.snoop = 1;
    PageEntry unknown = page(1, 2);
    unknown.address_known = 0;
    EXPECT_THAT(run_lengths({page(0, 1), snooped}), ElementsAre(1, 1));
    EXPECT_THAT(run_lengths({page(0, 1), unknown}), ElementsAre(1, 1));
}
