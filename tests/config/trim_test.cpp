// SPDX-License-Identifier: MIT
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

#include <gtest/gtest.h>

namespace {

struct Row {
    const char* text;
    const char* trimmed;
};

constexpr Row kRows[] = {
    {"", ""},
    {" ", ""},
    {"\t\n\v\f\r ", ""},
    {"a", "a"},
    {" a", "a"},
    {"a ", "a"},
    {"  two words \r\n", "two words"},
    {"\xC3\xA4 \xC2\xA0", "\xC3\xA4 \xC2\xA0"}, // bytes above 0x7F are no white space
    {" \xFF ", "\xFF"},
};

} // namespace

TEST(Trim, TakesWhiteSpaceOffBothEnds) {
    for (const Row& row : kRows) {
        char text[32];
        std::snprintf(text, sizeof text, "%s", row.text);
        trimWhitespace(text);
        EXPECT_STREQ(text, row.trimmed) << "from \"" << row.text << '"';
    }
}

TEST(Trim, WritesNothingBehindTheOldTerminator) {
    char text[8] = {' ', 'a', ' ', '\0', '#', '#', '#', '#'};
    trimWhitespace(text);
    EXPECT_STREQ(text, "a");
    EXPECT_EQ(std::string(text + 4, 4), "####");
}

TEST(Trim, DoesNothingForNull) {
    trimWhitespace(nullptr);
}
