// SPDX-License-Identifier: MIT
#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

constexpr const char* kPage = "abc power_mode:0x3"; // 18 bytes

} // namespace

TEST(FindStrInBuffer, GivesTheIndexJustBehindTheKey) {
    ASSERT_EQ(std::strlen(kPage), 18U);
    EXPECT_EQ(find_str_in_buffer(kPage, 18, "power_mode:0x"), 17);
    EXPECT_EQ(find_str_in_buffer(kPage, 18, "abc"), 3);
}

TEST(FindStrInBuffer, DoesNotFindAKeyAtTheVeryEndOfTheBuffer) {
    EXPECT_EQ(find_str_in_buffer(kPage, 18, "0x3"), -1);
    EXPECT_EQ(find_str_in_buffer(kPage, 17, "power_mode:0x"), -1);
    EXPECT_EQ(find_str_in_buffer("xab", 3, "ab"), -1);
    EXPECT_EQ(find_str_in_buffer("xabc", 4, "ab"), 3);
}

TEST(FindStrInBuffer, DoesNotFindAKeyAsLongAsTheBufferOrLonger) {
    EXPECT_EQ(find_str_in_buffer("abc", 3, "abc"), -1);
    EXPECT_EQ(find_str_in_buffer("abc", 3, "abcd"), -1);
    EXPECT_EQ(find_str_in_buffer("abc", 0, ""), -1);
    EXPECT_EQ(find_str_in_buffer("abc", -1, "a"), -1);
    EXPECT_EQ(find_str_in_buffer("abc", INT32_MIN, "a"), -1);
}

TEST(FindStrInBuffer, TakesTheFirstOfSeveralMatches) {
    EXPECT_EQ(find_str_in_buffer("k:1 k:2 ", 8, "k:"), 2);
}

TEST(FindStrInBuffer, LooksBehindZeroBytes) {
    EXPECT_EQ(find_str_in_buffer("ab\0key=1", 8, "key="), 7);
}

TEST(FindStrInBuffer, FindsAnEmptyKeyAtTheStart) {
    EXPECT_EQ(find_str_in_buffer("abc", 3, ""), 0);
}

TEST(FindStrInBuffer, GivesNothingForNullPointers) {
    EXPECT_EQ(find_str_in_buffer(nullptr, 3, "a"), -1);
    EXPECT_EQ(find_str_in_buffer("abc", 3, nullptr), -1);
}

namespace {

struct Copied {
    std::string buffer;
    std::uint32_t result;
};

Copied copy_first_line(const char* source, std::uint64_t capacity) {
    char buffer[32];
    std::memset(buffer, '#', sizeof buffer);
    const std::uint32_t result = safe_str_copy_till_return(buffer, source, capacity);
    return {std::string(buffer, sizeof buffer), result};
}

std::string padded(std::string text) {
    text.resize(32, '#');
    return text;
}

} // namespace

TEST(SafeStrCopyTillReturn, CopiesTheFirstLine) {
    const auto [buffer, result] = copy_first_line("abc\ndef", 32);
    EXPECT_EQ(result, 4U);
    EXPECT_EQ(buffer, padded(std::string("abc\0", 4)));
}

TEST(SafeStrCopyTillReturn, CutsToTheCapacity) {
    const auto [buffer, result] = copy_first_line("abc\ndef", 3);
    EXPECT_EQ(result, 3U);
    EXPECT_EQ(buffer, padded(std::string("ab\0", 3)));
}

TEST(SafeStrCopyTillReturn, WritesAnEmptyStringForAnEmptySource) {
    for (const char* source : {"", "\nabc"}) {
        const auto [buffer, result] = copy_first_line(source, 32);
        EXPECT_EQ(result, 1U);
        EXPECT_EQ(buffer, padded(std::string(1, '\0')));
    }
}

TEST(SafeStrCopyTillReturn, HasRoomForNothingButTheTerminatorAtCapacityOne) {
    const auto [buffer, result] = copy_first_line("abc", 1);
    EXPECT_EQ(result, 1U);
    EXPECT_EQ(buffer, padded(std::string(1, '\0')));
}

TEST(SafeStrCopyTillReturn, WritesNothingAtCapacityZero) {
    const auto [buffer, result] = copy_first_line("abc", 0);
    EXPECT_EQ(result, 0U);
    EXPECT_EQ(buffer, padded(""));
}

TEST(SafeStrCopyTillReturn, TakesASourceThatFitsExactly) {
    const auto [buffer, result] = copy_first_line("abc", 4);
    EXPECT_EQ(result, 4U);
    EXPECT_EQ(buffer, padded(std::string("abc\0", 4)));
}
