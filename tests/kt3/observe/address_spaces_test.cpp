// SPDX-License-Identifier: MIT
#include "observe/vm/address_spaces.hpp"

using namespace kt3::observe;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

VmNode node(std::uint64_t start, std::uint64_t size, std::int64_t pid = 1) {
    return {pid, "game", "1f40", start, size};
}

AddressSpace space(const std::vector<VmNode>& nodes) {
    return address_spaces(nodes).at(0);
}

std::vector<std::pair<std::uint64_t, std::uint64_t>> pairs(const std::vector<Span>& spans) {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> all;
    for (const Span& span : spans) {
        all.emplace_back(span.start, span.end);
    }
    return all;
}

} // namespace

TEST(VmMap, JoinsWhatTouchesAndFindsHoles) {
    const AddressSpace made = space({node(0x40, 0x10), node(0, 0x10), node(0x10, 0x10)});
    EXPECT_THAT(pairs(made.ranges), ElementsAre(std::pair(0, 0x20), std::pair(0x40, 0x50)));
    EXPECT_THAT(pairs(made.holes), ElementsAre(std::pair(0x20, 0x40)));
    EXPECT_THAT(made.overlaps, IsEmpty());
    EXPECT_EQ(made.used, 0x30u);
    EXPECT_EQ(made.regions.size(), 1u);
}

TEST(VmMap, FindsOverlapsWithAnyEarlierNode) {
    // The third lies in the first, behind the end of the second; the fourth overlaps both.
    const AddressSpace made = space({node(0, 0x100), node(0x10, 0x10), node(0x80, 0x10), node(0x88, 0x100)});
    EXPECT_THAT(pairs(made.overlaps), ElementsAre(std::pair(0x10, 0x20), std::pair(0x80, 0x100)));
    EXPECT_THAT(pairs(made.ranges), ElementsAre(std::pair(0, 0x188)));
}
