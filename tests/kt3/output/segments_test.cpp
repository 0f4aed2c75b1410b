// SPDX-License-Identifier: MIT
#include "output/segments.hpp"

using namespace kt3::output;

namespace {

Segment segment(std::optional<std::int64_t> used, std::optional<std::int64_t> total) {
    Segment made;
    made.used = used;
    made.total = total;
    return made;
}

} // namespace

TEST(SegmentBar, IsPaintedByItsFill) {
    EXPECT_EQ(bar_paint(segment(0, 100)), Paint::good);
    EXPECT_EQ(bar_paint(segment(74, 100)), Paint::good);
    EXPECT_EQ(bar_paint(segment(75, 100)), Paint::warn);
    EXPECT_EQ(bar_paint(segment(89, 100)), Paint::warn);
    EXPECT_EQ(bar_paint(segment(90, 100)), Paint::bad);
    EXPECT_EQ(bar_paint(segment(120, 100)), Paint::bad);
}

TEST(SegmentBar, IsNotThereWithoutItsTwoFigures) {
    for (const Segment& one : {segment({}, 100), segment(5, {}), segment(0, 0), segment(5, 0)}) {
        EXPECT_EQ(bar_of(one), "");
        EXPECT_EQ(bar_paint(one), Paint::plain);
    }
}

TEST(SegmentBar, StaysWithinItsEnds) {
    EXPECT_EQ(bar_of(segment(-5, 100)), "[....................]");
    EXPECT_EQ(bar_of(segment(500, 100)), "[####################]");
}
