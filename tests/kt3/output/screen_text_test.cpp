// SPDX-License-Identifier: MIT
#include "output/screen_text.hpp"

using kt3::output::character_count;
using kt3::output::screen_safe;

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

TEST(CharacterCount, CountsCharactersNotBytes) {
    EXPECT_EQ(character_count("Größe"), 5U);
    EXPECT_EQ(character_count(""), 0U);
}
