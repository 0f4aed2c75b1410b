// SPDX-License-Identifier: MIT
#include "support/text_scan.hpp"

#include <gtest/gtest.h>
#include <random>
#include <string>

using namespace kt3::support;

namespace {

// The rule in its plainest form: every start position but the last possible one, bytes compared one by one.
std::int32_t plain_find_after(const std::string& page, const std::string& key) {
    const auto length = static_cast<std::int32_t>(page.size());
    const auto key_length = static_cast<std::int32_t>(key.size());
    for (std::int32_t at = 0; key_length < length && at != length - key_length; ++at) {
        if (page.compare(static_cast<std::size_t>(at), key.size(), key) == 0) {
            return at + key_length;
        }
    }
    return -1;
}

} // namespace

TEST(FindBehind, AgreesWithAByteLoopOnRandomPages) {
    std::mt19937 random(7);
    const auto word = [&](unsigned most) {
        std::string text(random() % (most + 1), '\0');
        for (char& c : text) {
            c = "ab\0"[random() % 3];
        }
        return text;
    };
    for (int round = 0; round < 20000; ++round) {
        const std::string page = word(12);
        const std::string key = word(4);
        const auto length = static_cast<std::int32_t>(page.size());
        ASSERT_EQ(find_after(page.data(), length, key), plain_find_after(page, key)) << round;
    }
}

TEST(FindBehind, FindsNothingInABufferWithoutLength) {
    EXPECT_EQ(find_after("abc", 0, "a"), -1);
    EXPECT_EQ(find_after("abc", -5, "a"), -1);
}

TEST(ScanNumbers, GiveNothingWithoutADigit) {
    EXPECT_EQ(scan_int(""), std::nullopt);
    EXPECT_EQ(scan_int("x1"), std::nullopt);
    EXPECT_EQ(scan_int(" -12 "), -12);
    EXPECT_EQ(scan_unsigned("g", 16), std::nullopt);
    EXPECT_EQ(scan_unsigned("1f", 16), 31U);
    EXPECT_EQ(scan_unsigned("4294967295"), 4294967295U);
}

namespace {

// A signed, spaced, prefixed or plain run of digits, often at or beyond a bound, with something after it.
std::string number_text(std::mt19937& random) {
    const auto one_of = [&](const std::vector<std::string>& texts) { return texts[random() % texts.size()]; };
    std::string digits = one_of({"", "0", "000", "9223372036854775807", "9223372036854775808", "18446744073709551615",
                                 "4294967296", "2147483648", "7fffffffffffffff", "ffffffff"});
    for (auto more = random() % 4; more > 0; --more) {
        digits += "0123456789af"[random() % 12];
    }
    return one_of({"", "", " ", "\t\n ", std::string(100, ' ')}) + one_of({"", "", "-", "+", "--", "- "}) +
           one_of({"", "", "", "0x", "0X"}) + digits + one_of({"", "\n", ".0 x16", " ", "-1", "x"});
}

} // namespace

TEST(ScanNumbers, AgreeWithTheFormattedInputOfTheCLibrary) {
    std::mt19937 random(7);
    for (int round = 0; round < 10000; ++round) {
        const std::string text = number_text(random);
        std::int32_t whole = 7;
        std::uint32_t decimal = 7;
        std::uint32_t hex = 7;
        long long wide = 7;
        const char* at = text.c_str();
        EXPECT_EQ(scan_int(at).has_value(), std::sscanf(at, "%d", &whole) == 1) << text;
        EXPECT_EQ(scan_int(at).value_or(7), whole) << text;
        EXPECT_EQ(scan_unsigned(at).has_value(), std::sscanf(at, "%u", &decimal) == 1) << text;
        EXPECT_EQ(scan_unsigned(at).value_or(7), decimal) << text;
        EXPECT_EQ(scan_unsigned(at, 16).has_value(), std::sscanf(at, "%x", &hex) == 1) << text;
        EXPECT_EQ(scan_unsigned(at, 16).value_or(7), hex) << text;
        std::sscanf(at, "%lld", &wide);
        EXPECT_EQ(take_long(at).value_or(7), wide) << text;
    }
}
