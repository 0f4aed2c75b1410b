// SPDX-License-Identifier: MIT
#include "observe/text.hpp"

#include <nlohmann/json.hpp>

using kt3::observe::field_text;
using kt3::observe::valid_utf8;

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

TEST(FieldText, EndsAtTheTerminatorOrAtTheEndOfTheField) {
    const char whole[4] = {'a', 'b', 'c', 'd'};
    const char part[4] = {'a', 0, 'c', 'd'};
    EXPECT_EQ(field_text(whole), "abcd");
    EXPECT_EQ(field_text(part), "a");
}
