// SPDX-License-Identifier: MIT
#include "allocation/info_page.hpp"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>
#include <string>

using kt3::allocation::parse_info_page;
using Record = _GFX_ALLOCATION_INFO;
using std::string;
using namespace std::string_literals;

namespace {

// The keys in the order of the record's words.
const char* const kKeys[] = {"handle",   "device",    "width",     "height",          "pitch",         "bit_cnt",
                             "secured",  "size",      "tile",      "cpu_visible",     "cache_type",    "pool_type",
                             "at_type",  "segmentid", "hw_format", "compress_format", "bl_slot_index", "gpu_virt_addr",
                             "imported", "fb_offset", "share"};

std::int32_t word(const Record& record, std::size_t at) {
    return reinterpret_cast<const std::int32_t*>(&record)[at];
}

template<typename Error>
string error_of(const string& page, bool va_driver = false) {
    try {
        parse_info_page(page, va_driver);
    } catch (const Error& error) {
        return error.what();
    }
    return "nothing thrown";
}

// The rules line by line, with a string for every text.
std::int32_t plain_width(const string& page) {
    std::int32_t width = 0;
    for (std::size_t start = 0; start < page.size();) {
        const std::size_t newline = page.find('\n', start);
        string line = page.substr(start, newline == page.npos ? newline : newline + 1 - start);
        start += line.size();
        line = line.c_str();
        const std::size_t equals = line.find('=');
        if (equals != line.npos && line.substr(0, equals) == "width") {
            string value = line.substr(equals + 1);
            value.resize(std::min<std::size_t>(value.empty() ? 0 : value.size() - 1, 127));
            width = static_cast<std::int32_t>(std::strtol(value.c_str(), nullptr, 10));
        }
    }
    return width;
}

} // namespace

TEST(InfoPage, AgreesWithAPlainReaderOnRandomPages) {
    const string parts[] = {"width", "=", "\n", "7", "12", "\0"s, " ", "x", "width=3\n", string(17, 'k'), "-", "wid"};
    std::mt19937 random(9);
    for (int round = 0; round < 20000; ++round) {
        string page;
        for (unsigned at = random() % 40; at > 0; --at) {
            page += parts[random() % std::size(parts)];
        }
        ASSERT_EQ(parse_info_page(page, true).width, plain_width(page)) << testing::PrintToString(page);
    }
}

TEST(InfoPage, FindsALineWhereverItStands) {
    for (std::size_t before = 0; before < 200; ++before) {
        const string page = string(before, '\n') + "width=12\nheight=34";
        EXPECT_EQ(parse_info_page(page, true).width, 12) << before;
        EXPECT_EQ(parse_info_page(page, true).height, 3) << before;
    }
}

TEST(InfoPage, FillsEveryWordFromTheKeyOfItsNameAndNoOther) {
    for (std::size_t at = 0; at < std::size(kKeys); ++at) {
        const Record record = parse_info_page(string(kKeys[at]) + "=7\n", true);
        for (std::size_t other = 0; other < std::size(kKeys); ++other) {
            EXPECT_EQ(word(record, other), other == at ? 7 : 0) << kKeys[at] << " in word " << other;
        }
    }
}

TEST(InfoPage, ReadsAWholePage) {
    string page;
    for (std::size_t at = 0; at < std::size(kKeys); ++at) {
        page += string(kKeys[at]) + "=" + std::to_string(at + 1) + "\n";
    }
    const Record record = parse_info_page(page, true);
    for (std::size_t at = 0; at < std::size(kKeys); ++at) {
        EXPECT_EQ(word(record, at), static_cast<std::int32_t>(at + 1)) << kKeys[at];
    }
}

TEST(InfoPage, CountsEveryRecordAsSeenOnceAndStandingForItself) {
    for (const char* page : {"", "width=3\n", "seen_count=9\nsum_count=9\n"}) {
        EXPECT_EQ(parse_info_page(page, true).seen_count, 1) << page;
        EXPECT_EQ(parse_info_page(page, true).sum_count, 1) << page;
    }
}

TEST(InfoPage, ReadsDecimalValuesAsFarAsTheyGo) {
    const struct {
        const char* value;
        std::int32_t expected;
    } rows[] = {
        {"0", 0},
        {"1920", 1920},
        {"abc", 0},
        {"", 0},
        {"12px", 12},
        {"-1", -1},
        {"+8", 8},
        {" \t8", 8},
        {"- 8", 0},
        {"0x10", 0},
        {"007", 7},
        {"8 9", 8},
        {"2147483647", 2147483647},
        {"2147483648", INT32_MIN},
        {"4294967301", 5},                   // 2 to the power 32, plus 5
        {"140737488355333", 5},              // 2 to the power 47, plus 5: an address
        {"999999999999999999", -1486618625}, // the longest that is read inline
        {"9223372036854775807", -1},         // saturated from here on
        {"9223372036854775808", -1},
        {"99999999999999999999999", -1},
        {"-9223372036854775808", 0},
        {"-99999999999999999999999", 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(parse_info_page("size="s + row.value + "\n", true).size, row.expected) << row.value;
    }
}

TEST(InfoPage, ReadsHandlesAsCheckedHexadecimal) {
    const struct {
        const char* value;
        std::int32_t expected;
    } rows[] = {
        {"1f", 31},
        {"0x1f", 31},
        {"0X1F", 31},
        {"1F", 31},
        {" 1f", 31},
        {"-1f", -31},
        {"7fffffff", INT32_MAX},
        {"0", 0},
        {"0x", 0},
        {"1fzz", 31},
        {"-80000000", INT32_MIN},
        {"000000000001f", 31},
        {"fffffff", 0xFFFFFFF},
        {"+0x1f", 31},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(parse_info_page("handle="s + row.value + "\n", true).handle, row.expected) << row.value;
    }
}

TEST(InfoPage, ThrowsStoiForAHandleWithoutADigit) {
    for (const char* page : {"handle=zz\n", "handle=\n", "handle=", "handle= \n", "handle=-\n", "handle=5"}) {
        EXPECT_EQ(error_of<std::invalid_argument>(page), "stoi") << page;
    }
}

TEST(InfoPage, ThrowsStoiForAHandleOutsideTheSigned32BitRange) {
    for (const char* page : {"handle=80000000\n", "handle=-80000001\n", "handle=ffffffffffffffffffffff\n"}) {
        EXPECT_EQ(error_of<std::out_of_range>(page), "stoi") << page;
    }
}

TEST(InfoPage, ReadsTheDeviceInDecimalOnlyForVirtualAddressing) {
    EXPECT_EQ(parse_info_page("device=10\n", true).device, 10);
    EXPECT_EQ(parse_info_page("device=10\n", false).device, 16);
    EXPECT_EQ(parse_info_page("device=0x10\n", true).device, 0);
    EXPECT_EQ(parse_info_page("device=12ab\n", true).device, 12);
    EXPECT_EQ(parse_info_page("device=9999999\n", true).device, 9999999);
    EXPECT_EQ(error_of<std::invalid_argument>("device=a\n", true), "stoi");
    EXPECT_EQ(error_of<std::out_of_range>("device=2147483648\n", true), "stoi");
    EXPECT_EQ(error_of<std::invalid_argument>("device=x\n", false), "stoi");
}

TEST(InfoPage, LosesTheLastCharacterOfALastLineWithoutANewline) {
    EXPECT_EQ(parse_info_page("share=1", true).share, 0);
    EXPECT_EQ(parse_info_page("share=12", true).share, 1);
    EXPECT_EQ(parse_info_page("share=", true).share, 0);
}

TEST(InfoPage, IgnoresKeysThatAreNotExact) {
    for (const char* page : {"width = 8\n", " width=8\n", "Width=8\n", "widt=8\n", "widths=8\n", "=8\n", "w=8\n",
                             "wi=8\n", "width8\n", "wxdth=8\n", "\n", "wid\n=8\n"}) {
        EXPECT_EQ(parse_info_page(page, true).width, 0) << page;
    }
}

TEST(InfoPage, EndsAKeyAtTheFirstEqualsSign) {
    EXPECT_EQ(parse_info_page("width==8\n", true).width, 0);
    EXPECT_EQ(parse_info_page("width=8=9\n", true).width, 8);
    EXPECT_EQ(parse_info_page("=width=8\n", true).width, 0);
}

TEST(InfoPage, KeepsTheLastValueOfAKeyThatOccursTwice) {
    EXPECT_EQ(parse_info_page("width=8\nheight=1\nwidth=9\n", true).width, 9);
    EXPECT_EQ(parse_info_page("width=8\nwidth=none\n", true).width, 0);
}

TEST(InfoPage, EndsALineAtItsFirstZeroByte) {
    EXPECT_EQ(parse_info_page("width\0=8\n"s, true).width, 0);
    EXPECT_EQ(parse_info_page("\0width=8\n"s, true).width, 0);
    EXPECT_EQ(parse_info_page("width=12\0"
                              "34\nheight=5\n"s,
                              true)
                  .width,
              1); // the newline is not there to be cut
    EXPECT_EQ(parse_info_page("width=12\0"
                              "34\nheight=5\n"s,
                              true)
                  .height,
              5);
    EXPECT_EQ(parse_info_page("width=\0\n"s, true).width, 0);
    EXPECT_EQ(parse_info_page(string(100, '\0'), true).sum_count, 1);
}

// A value is held in 128 characters with its terminator: 127 digits are read whole, of longer ones only the first 127.
TEST(InfoPage, CutsValuesThatAreLongerThanTheFormatHas) {
    const auto width_of = [](std::size_t length) {
        return parse_info_page("width=" + string(length - 1, '0') + "7\n", true).width;
    };
    EXPECT_EQ(width_of(126), 7);
    EXPECT_EQ(width_of(127), 7);
    EXPECT_EQ(width_of(128), 0);
    EXPECT_EQ(width_of(129), 0);
    EXPECT_EQ(parse_info_page("handle=1f" + string(300, ' ') + "\n", true).handle, 31);
    EXPECT_EQ(error_of<std::invalid_argument>("handle=" + string(300, ' ') + "1f\n"), "stoi");
}

TEST(InfoPage, IgnoresKeysOfAnyLength) {
    for (const std::size_t length : {3U, 4U, 126U, 127U, 128U, 129U, 1U << 20}) {
        const Record record = parse_info_page(string(length, 'w') + "=8\nheight=5\n", true);
        EXPECT_EQ(record.width, 0) << length;
        EXPECT_EQ(record.height, 5) << length;
    }
}

TEST(InfoPage, PassesALineOfAMebibyte) {
    const string filler(1U << 20, 'x');
    EXPECT_EQ(parse_info_page("width=4\n" + filler + "\nheight=5\n", true).height, 5);
    EXPECT_EQ(parse_info_page("width=" + filler + "\nheight=5\n", true).height, 5);
}

TEST(InfoPage, ReadsNothingFromAnEmptyPage) {
    const Record record = parse_info_page({}, true);
    for (std::size_t at = 0; at < std::size(kKeys); ++at) {
        EXPECT_EQ(word(record, at), 0);
    }
}
