// SPDX-License-Identifier: MIT
#include "support/format_into.hpp"

#include <gtest/gtest.h>

using kt3::support::format_into;

TEST(FormatInto, WritesTheArgumentsAsTheFormatOfTheRowSays) {
    const char* const row = "Gpu%d:%s";
    char field[32];
    format_into(field, row, 2, "R-360");
    EXPECT_STREQ(field, "Gpu2:R-360");
}

TEST(FormatInto, LeavesArgumentsThatTheFormatDoesNotName) {
    const char* const row = "find chip\n";
    char field[32];
    format_into(field, row, 2, 7);
    EXPECT_STREQ(field, "find chip\n");
}

TEST(FormatInto, CutsToWhatFitsWithATerminator) {
    const char* const row = "%s";
    char field[6];
    format_into(field, row, "123456789");
    EXPECT_STREQ(field, "12345");
}
