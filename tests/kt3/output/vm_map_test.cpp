// SPDX-License-Identifier: MIT
#include "output/vm/map.hpp"
#include "output/vm/picture.hpp"

using namespace kt3::observe;
using namespace kt3::output;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

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

TEST(VmMap, TakesNodesAtTheEndOfTheAddressSpace) {
    const std::uint64_t last = 0x7fffffffffffffff;
    const AddressSpace made = space({node(0, 1), node(last, last)});
    EXPECT_THAT(pairs(made.ranges), ElementsAre(std::pair<std::uint64_t, std::uint64_t>(0, 1),
                                                std::pair<std::uint64_t, std::uint64_t>(last, last + last)));
    EXPECT_EQ(region_bar(made, {0, last + last}, 4), "+.##");
}

TEST(VmMap, LeavesOutEmptyNodesButNotTheirProcess) {
    const AddressSpace made = space({node(0x10, 0)});
    EXPECT_THAT(made.ranges, IsEmpty());
    EXPECT_EQ(space_json(made)["largest_range"], nullptr);
    EXPECT_EQ(map_text(made, {}), "pid 1  game  0 B used in 0 ranges of 0 nodes\n");
}

TEST(VmMap, DrawsUsedPartlyUsedSharedAndFreeCells) {
    const AddressSpace made = space({node(0, 0x10), node(0x20, 0x18), node(0x28, 0x4), node(0x60, 0x10)});
    EXPECT_EQ(region_bar(made, {0, 0x70}, 7), "#.!+..#");
}

TEST(VmMap, DrawsRegionsSmallerThanTheBar) {
    const AddressSpace made = space({node(5, 2)});
    EXPECT_EQ(region_bar(made, {5, 7}, 4), "####");
}

TEST(VmMap, WritesAPictureThatIsWellFormed) {
    VmNode evil = node(0, 0x10);
    evil.name = "<script>&\x1b\xff";
    const std::string picture = svg_picture(address_spaces({evil, node(0x8, 0x10, 2), node(0x10, 0x10, 2)}));
    EXPECT_THAT(picture, AllOf(HasSubstr("&lt;script&gt;&amp;\\x1b\xEF\xBF\xBD"), Not(HasSubstr("<script>")),
                               HasSubstr("#d83b3b")));
}
