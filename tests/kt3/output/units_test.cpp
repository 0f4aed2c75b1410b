// SPDX-License-Identifier: MIT
#include "output/units.hpp"

TEST(BytesText, UsesTheLargestUnitThatLeavesAWholeOne) {
    EXPECT_EQ(kt3::output::bytes_text(0), "0 B");
    EXPECT_EQ(kt3::output::bytes_text(1023), "1023 B");
    EXPECT_EQ(kt3::output::bytes_text(1536), "1.5 KiB");
    EXPECT_EQ(kt3::output::bytes_text(-(std::int64_t{6} << 30)), "-6.0 GiB");
}
