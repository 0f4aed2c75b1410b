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
