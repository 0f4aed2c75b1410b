#include "output/screen_text.hpp"

#include <nlohmann/json.hpp>

using kt3::cli::character_count;
using kt3::cli::field_text;
using kt3::cli::screen_safe;
using kt3::cli::valid_utf8;

TEST(ScreenText, LeavesOrdinaryAndForeignTextAlone) {
    EXPECT_EQ(screen_safe("Gpu0:Vorla-5510"), "Gpu0:Vorla-5510");
    EXPECT_EQ(screen_safe("Größe 图形 🎮"), "Größe 图形 🎮");
    EXPECT_EQ(screen_safe(""), "");
}

TEST(ScreenText, EscapesEveryControlByte) {
    EXPECT_EQ(screen_safe("\x1b[31mred"), "\\x1b[31mred");
    EXPECT_EQ(screen_safe("a\nb\tc\rd"), "a\\nb\\tc\\rd");
    for (int byte = 0; byte < 256; ++byte) {
        for (const char c : screen_safe(std::string(1, static_cast<char>(byte)))) {
            EXPECT_FALSE(static_cast<unsigned char>(c) < 0x20 || c == 0x7F) << byte;
        }
    }
}

TEST(ScreenText, EscapesTheSecondControlBlock) {
    EXPECT_EQ(screen_safe("a\xC2\x9B"
                          "31m"),
              "a\\u009b31m");
    EXPECT_EQ(screen_safe("\xC2\xA0"), "\xC2\xA0");
}

TEST(ScreenText, EscapesAnEmbeddedZeroByte) {
    EXPECT_EQ(screen_safe(std::string("a\0b", 3)), "a\\x00b");
}

TEST(ValidUtf8, ReplacesBytesThatBelongToNoSequence) {
    const std::string mark = "\xEF\xBF\xBD";
    const struct {
        std::string text, expected;
    } rows[] = {
        {"\xFF", mark},
        {"a\x80z", "a" + mark + "z"},
        {"\xC3", mark},
        {"\xC3(", mark + "("},
        {"\xC0\xAF", mark + mark},                       // overlong
        {"\xED\xA0\x80", mark + mark + mark},            // surrogate
        {"\xF4\x90\x80\x80", mark + mark + mark + mark}, // beyond the last character
        {"\xE2\x82\xAC", "\xE2\x82\xAC"},
        {"\xE2\x82", mark + mark},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(valid_utf8(row.text), row.expected) << row.text;
    }
}

TEST(ValidUtf8, GivesTextThatAStrictReaderAccepts) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string text = {static_cast<char>(first), static_cast<char>(second), 'x'};
            EXPECT_NO_THROW((void)nlohmann::json(valid_utf8(text)).dump()) << first << ' ' << second;
        }
    }
}

TEST(CharacterCount, CountsCharactersNotBytes) {
    EXPECT_EQ(character_count("Größe"), 5U);
    EXPECT_EQ(character_count(""), 0U);
}

TEST(FieldText, EndsAtTheTerminatorOrAtTheEndOfTheField) {
    const char whole[4] = {'a', 'b', 'c', 'd'};
    const char part[4] = {'a', 0, 'c', 'd'};
    EXPECT_EQ(field_text(whole), "abcd");
    EXPECT_EQ(field_text(part), "a");
}
