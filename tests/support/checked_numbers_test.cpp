// SPDX-License-Identifier: MIT
#include "support/checked_numbers.hpp"

#include <gtest/gtest.h>
#include <optional>
#include <string>

using namespace kt3::support;

namespace {

// What a conversion yields: a value or the name of the error with its text.
template<typename Convert>
std::string outcome(Convert convert) {
    try {
        return std::to_string(convert());
    } catch (const std::invalid_argument& e) {
        return std::string("invalid ") + e.what();
    } catch (const std::out_of_range& e) {
        return std::string("range ") + e.what();
    }
}

constexpr const char* kTexts[] = {
    "",
    "0",
    "12",
    " 12",
    "\t\n\v\f\r 12",
    "12px",
    "abc",
    "zz",
    "+7",
    "-7",
    "--7",
    "+-7",
    "- 7",
    "1f",
    "0x1f",
    "0X1F",
    "0x",
    "0xg",
    "-0x10",
    "x10",
    "80000000",
    "7fffffff",
    "-80000000",
    "-80000001",
    "2147483647",
    "2147483648",
    "-2147483648",
    "-2147483649",
    "9223372036854775807",
    "9223372036854775808",
    "-9223372036854775808",
    "-9223372036854775809",
    "7fffffffffffffff",
    "8000000000000000",
    "ffffffffffffffffffff",
    "00000000000000000000012",
};

} // namespace

TEST(CheckedNumbers, AgreeWithTheStandardConversionsInBothBases) {
    for (const std::string text : kTexts) {
        for (const int base : {10, 16}) {
            SCOPED_TRACE("\"" + text + "\" base " + std::to_string(base));
            const auto wide = static_cast<unsigned>(base);
            EXPECT_EQ(outcome([&] { return checked_int(text, wide); }),
                      outcome([&] { return std::stoi(text, nullptr, base); }));
            EXPECT_EQ(outcome([&] { return checked_long_long(text, wide); }),
                      outcome([&] { return std::stoll(text, nullptr, base); }));
        }
    }
}

TEST(CheckedNumbers, LeadingIntKeepsTheLow32BitsOfALongInteger) {
    for (const std::string text : kTexts) {
        EXPECT_EQ(leading_int(text), static_cast<std::int32_t>(std::strtol(text.c_str(), nullptr, 10))) << text;
    }
    EXPECT_EQ(leading_int("4294967301"), 5);
}

TEST(CheckedNumbers, StopAtAZeroByte) {
    using namespace std::string_view_literals;
    EXPECT_EQ(checked_int("1\0002"sv, 10), 1);
    EXPECT_THROW(checked_int("\0001"sv, 10), std::invalid_argument);
}
