// SPDX-License-Identifier: MIT
#include "observe/reading.hpp"

#include <cerrno>

using namespace kt3::observe;

TEST(Reading, NamesEachReason) {
    EXPECT_STREQ(reason_code(Absence::permission), "permission");
    EXPECT_STREQ(reason_code(Absence::no_node), "no_node");
    EXPECT_STREQ(reason_code(Absence::not_on_this_chip), "not_on_this_chip");
    EXPECT_STREQ(reason_code(Absence::parse_error), "parse_error");
    EXPECT_STREQ(reason_code(Absence::driver), "driver");
}

TEST(Reading, TakesTheReasonFromTheErrorOfTheFile) {
    EXPECT_EQ(absence_of(EACCES), Absence::permission);
    EXPECT_EQ(absence_of(EPERM), Absence::permission);
    EXPECT_EQ(absence_of(ENOENT), Absence::no_node);
    EXPECT_EQ(absence_of(EIO), Absence::driver);
}

TEST(Reading, HoldsAValueOrAReason) {
    const Reading<std::int64_t> there = 45;
    const Reading<std::int64_t> missing = Absence::no_tool;
    EXPECT_TRUE(there.present());
    EXPECT_EQ(there.value(), 45);
    EXPECT_FALSE(missing.present());
    EXPECT_EQ(missing.absence(), Absence::no_tool);
}

TEST(Reading, KeepsItsReasonInAnotherForm) {
    const auto doubled = [](std::int64_t value) { return 2 * value; };
    EXPECT_EQ(Reading<std::int64_t>(4).as(doubled).value(), 8);
    EXPECT_EQ(Reading<std::int64_t>(Absence::permission).as(doubled).absence(), Absence::permission);
}
