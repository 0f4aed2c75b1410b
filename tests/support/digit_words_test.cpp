// SPDX-License-Identifier: MIT
#include "support/checked_numbers.hpp"
#include "support/digit_words.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

using namespace kt3;
using namespace kt3::support;

namespace {

// Characters around the edges of what counts as a digit, and some digits more.
constexpr std::string_view kOdd = "0123456789abcdefABCDEF/:@G`g xX+-\n\t\x7f\x80\xb0\xe1\xff";

std::string odd_text(std::mt19937& random, std::size_t size, unsigned oddness) {
    std::string text;
    for (std::size_t at = 0; at < size; ++at) {
        text += random() % 100 < oddness ? kOdd[random() % kOdd.size()] : "0123456789abcdefABCDEF"[random() % 22];
    }
    return text;
}

int leading_hex_digits(std::string_view text) {
    int count = 0;
    while (count < 16 && support::digit_value(text[static_cast<std::size_t>(count)]) < 16) {
        ++count;
    }
    return count;
}

} // namespace

TEST(HexDigits, CountEveryByteAtEveryPlaceAsTheScanDoes) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        for (std::size_t place = 0; place < 16; ++place) {
            std::string text = "0123456789abcDEF";
            text[place] = static_cast<char>(byte);
            const HexDigits digits(text.data());
            EXPECT_EQ(digits.count(), leading_hex_digits(text)) << byte << " at " << place;
            EXPECT_EQ(digits.count_of_eight(), std::min(leading_hex_digits(text), 8)) << byte << " at " << place;
        }
    }
}

TEST(HexDigits, GiveTheValueOfAnyPartOfTheText) {
    const HexDigits digits("0x1aF09bcdE23456");
    EXPECT_EQ(digits.value(0, 1), 0U);
    EXPECT_EQ(digits.value(2, 4), 0x1aU);
    EXPECT_EQ(digits.value(2, 16), 0x1aF09bcdE23456U);
    EXPECT_EQ(HexDigits("fedcba9876543210").value(0, 16), 0xfedcba9876543210U);
}

TEST(HexDigits, SkipThePrefixWhenTheyCount) {
    EXPECT_EQ(HexDigits("0x1a\0\0\0\0\0\0\0\0\0\0\0").count(), 1);
    EXPECT_EQ(HexDigits("0x1a\0\0\0\0\0\0\0\0\0\0\0").count(2), 4);
    EXPECT_EQ(HexDigits("0x123456789abcde").count(2), 16);
}

TEST(UsualHex, AgreesWithTheExactRulesWheneverItGivesAValue) {
    std::mt19937 random(11);
    int usual_ones = 0;
    for (int round = 0; round < 200'000; ++round) {
        std::string text = odd_text(random, random() % 20, round % 2 == 0 ? 0 : 10);
        if (random() % 2 == 0) {
            text.insert(0, random() % 8 == 0 ? "0X" : "0x");
        }
        if (const auto value = usual_hex(text)) {
            ++usual_ones;
            ASSERT_EQ(*value, support::checked_long_long(text, 16)) << text;
        }
    }
    EXPECT_GT(usual_ones, 50'000);
}

TEST(UsualHex, TakesOneToFifteenDigitsWithOrWithoutPrefix) {
    for (std::size_t size = 1; size <= 15; ++size) {
        EXPECT_TRUE(usual_hex(std::string(size, 'a'))) << size;
        EXPECT_EQ(usual_hex("0x" + std::string(size, 'a')).has_value(), size <= 13) << size;
    }
    for (const char* other : {"", "0x", "g", "-1", " 1", "1 ", "0xg", "1g", "aaaaaaaaaaaaaaaa"}) {
        EXPECT_FALSE(usual_hex(other)) << other;
    }
    EXPECT_FALSE(usual_hex(std::string("1\0", 2)));
}

TEST(UsualDecimal, AgreesWithTheExactRulesWheneverItGivesAValue) {
    std::mt19937 random(12);
    int usual_ones = 0;
    for (int round = 0; round < 200'000; ++round) {
        std::string text;
        for (std::size_t size = random() % 10; size > 0; --size) {
            text += random() % 20 == 0 ? kOdd[random() % kOdd.size()] : "0123456789"[random() % 10];
        }
        if (const auto value = usual_decimal(text)) {
            ++usual_ones;
            ASSERT_EQ(*value, support::checked_int(text, 10)) << text;
        }
    }
    EXPECT_GT(usual_ones, 50'000);
}

TEST(ShortTexts, AreTakenAsTheUsualOnesAre) {
    std::mt19937 random(13);
    for (int round = 0; round < 200'000; ++round) {
        const std::string text = odd_text(random, random() % 10, round % 2 == 0 ? 0 : 10);
        const auto hex = short_hex(text);
        EXPECT_EQ(hex.has_value(), usual_hex(text).has_value() && text.size() <= 8 && !text.starts_with("0x")) << text;
        EXPECT_TRUE(!hex || *hex == *usual_hex(text)) << text;
        EXPECT_EQ(short_decimal(text), usual_decimal(text)) << text;
    }
}

TEST(ShortTexts, HaveOneToEightDecimalDigits) {
    const std::string digits = "123456789";
    for (std::size_t size = 1; size <= 8; ++size) {
        EXPECT_EQ(short_decimal(digits.substr(0, size)), std::stoi(digits.substr(0, size))) << size;
    }
    for (const char* other : {"", "/", ":", "-1", " 1", "1 ", "1:", "x7", "123456789"}) {
        EXPECT_FALSE(short_decimal(other)) << other;
    }
    EXPECT_FALSE(short_decimal(std::string_view("1\0", 2)));
}

// The address sanitizer watches the bytes around it.
TEST(ShortWord, ReadsNothingButTheText) {
    for (std::size_t size = 0; size <= 8; ++size) {
        const std::string letters = std::string("abcdefgh").substr(0, size);
        const auto alone = std::make_unique<char[]>(size);
        std::copy(letters.begin(), letters.end(), alone.get());
        std::uint64_t expected = 0;
        std::memcpy(&expected, letters.data(), size);
        EXPECT_EQ(short_word({alone.get(), size}), expected) << size;
    }
}
