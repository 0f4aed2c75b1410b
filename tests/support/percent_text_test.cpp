// SPDX-License-Identifier: MIT
#include "support/percent_text.hpp"

#include <gtest/gtest.h>

using namespace kt3::support;

namespace {

std::string doubled(std::string_view line, std::size_t capacity = 64) {
    std::string out(capacity, '#');
    double_lone_percents(line, out.data(), capacity);
    return out.c_str();
}

} // namespace

TEST(PercentText, DoublesEverySignThatIsNotHalfOfAPair) {
    EXPECT_EQ(doubled("no sign"), "no sign");
    EXPECT_EQ(doubled("50%"), "50%%");
    EXPECT_EQ(doubled("%s%n"), "%%s%%n");
    EXPECT_EQ(doubled("a%%b"), "a%%b");
    EXPECT_EQ(doubled("%%%"), "%%%%");
    EXPECT_EQ(doubled(""), "");
}

TEST(PercentText, NeverCutsBetweenTheTwoSignsOfAPair) {
    EXPECT_EQ(doubled("ab%", 4), "ab");
    EXPECT_EQ(doubled("ab%", 5), "ab%%");
}

TEST(PercentText, PrintedAsFormatTakesAPairAsOneSign) {
    EXPECT_EQ(printed_as_format("1"), "1");
    EXPECT_EQ(printed_as_format("5%%"), "5%");
    EXPECT_EQ(printed_as_format("5%d"), "5%d");
    EXPECT_EQ(printed_as_format("%%%"), "%%");
}
