// SPDX-License-Identifier: MIT
#include "support/text_edges.hpp"

#include <gtest/gtest.h>

using namespace kt3::support;

TEST(TextEdges, LoseWhiteSpaceAndNothingElse) {
    EXPECT_EQ(trimmed(" \t\n\v\f\r two words \r\n"), "two words");
    EXPECT_EQ(trimmed("\xC2\xA0"), "\xC2\xA0"); // bytes above 0x7F are not white space
    EXPECT_EQ(trimmed(" \n "), "");
    EXPECT_EQ(trimmed(""), "");
}

TEST(TextEdges, LoseTheGivenCharactersAtTheEndOnly) {
    EXPECT_EQ(trimmed_end(" text \r\n", " \n\r\t"), " text");
    EXPECT_EQ(trimmed_end("text\v", " \n\r\t"), "text\v");
    EXPECT_EQ(trimmed_end(" \n", " \n\r\t"), "");
    EXPECT_EQ(trimmed_end("", " \n\r\t"), "");
}
