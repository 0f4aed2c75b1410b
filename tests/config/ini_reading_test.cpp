// SPDX-License-Identifier: MIT
#include "config/ini_reading.hpp"

#include <cstring>
#include <gmock/gmock.h>

using Entry = _UTIL_GPU_PREFERENCE_NODE;
using namespace std::string_literals;
using testing::ElementsAre;

namespace {

using Entries = std::vector<Entry>;
using kt3::config::parse_ini;

// The only entry of a page with one section.
Entry only_entry(std::string_view page) {
    const Entries entries = parse_ini(page);
    EXPECT_EQ(entries.size(), 1U);
    return entries.size() == 1 ? entries[0] : Entry{};
}

std::vector<std::string> names(const Entries& entries) {
    std::vector<std::string> all;
    for (const Entry& entry : entries) {
        all.emplace_back(entry.name, ::strnlen(entry.name, sizeof entry.name));
    }
    return all;
}

std::vector<int> bytes(const Entry& entry, std::size_t from, std::size_t count) {
    const auto* raw = reinterpret_cast<const unsigned char*>(&entry);
    return {raw + from, raw + from + count};
}

constexpr const char* kSample = "; tqm_gfx_util.ini\n"
                                "\n"
                                "[game.exe]\n"
                                "FullPath = /opt/game/game.exe\n"
                                "PreferGpuName = Gpu0:Vorla-55F0\n"
                                "PreferGpuBusID = 0000:03:00.0\n"
                                "GpuPrefer = 2\n"
                                "\n"
                                "\n";

} // namespace

TEST(IniReading, ReadsEveryKeyOfASectionIntoItsField) {
    const Entry entry = only_entry(kSample);
    EXPECT_STREQ(entry.name, "game.exe");
    EXPECT_STREQ(entry.FullPath, "/opt/game/game.exe");
    EXPECT_STREQ(entry.PreferGpuName, "Gpu0:Vorla-55F0");
    EXPECT_EQ(entry.GpuPrefer, 2);
    EXPECT_EQ(entry.bus_domain, 0);
    EXPECT_EQ(entry.bus_number, 3);
    EXPECT_EQ(entry.device_number, 0);
    EXPECT_EQ(entry.function_number, 0);
}

TEST(IniReading, LeavesEveryByteThatNoValueFillsZero) {
    Entry expected{};
    std::strcpy(expected.name, "a");
    std::strcpy(expected.FullPath, "/a");
    const Entry entry = only_entry("[a]\nFullPath = /a longer path first\nFullPath = /a\n");
    EXPECT_EQ(std::memcmp(&entry, &expected, offsetof(Entry, reserved) + sizeof entry.reserved), 0);
}

TEST(IniReading, AByteOrderMarkIsSkipped) {
    EXPECT_THAT(names(parse_ini("\xEF\xBB\xBF[a]\n")), ElementsAre("a"));
    EXPECT_EQ(only_entry("\xEF\xBB\xBF"s + kSample).GpuPrefer, 2);
}

TEST(IniReading, PartOfAByteOrderMarkIsOrdinaryText) {
    EXPECT_EQ(parse_ini("\xEF\xBB[a]\n").size(), 0U);
    EXPECT_EQ(parse_ini("\xEF\xBB").size(), 0U);
    EXPECT_EQ(parse_ini("\xEF\xBB\xBF\xEF\xBB\xBF[a]\n").size(), 0U);
    EXPECT_EQ(parse_ini("\xEF\xBB\xBF").size(), 0U);
}

TEST(IniReading, ShortFilesAreReadFromTheirStart) {
    EXPECT_EQ(parse_ini("").size(), 0U);
    EXPECT_EQ(parse_ini("[]").size(), 1U);
    EXPECT_EQ(parse_ini("[a]").size(), 1U);
}

TEST(IniReading, TwoSectionsGiveTwoEntriesInFileOrder) {
    const Entries entries = parse_ini("[b]\nGpuPrefer = 1\n[a]\nGpuPrefer = 2\n");
    EXPECT_THAT(names(entries), ElementsAre("b", "a"));
    EXPECT_EQ(entries[0].GpuPrefer, 1);
    EXPECT_EQ(entries[1].GpuPrefer, 2);
}

TEST(IniReading, ASecondSectionOfTheSameNameIsAnEntryOfItsOwn) {
    EXPECT_THAT(names(parse_ini("[a]\n[a]\n")), ElementsAre("a", "a"));
}

TEST(IniReading, ValuesOfOneSectionDoNotReachTheNext) {
    const Entries entries = parse_ini("[a]\nFullPath=/a\nGpuPrefer=1\nPreferGpuName=g\nPreferGpuBusID=1:2:3.4\n[b]\n");
    Entry expected{};
    expected.name[0] = 'b';
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(std::memcmp(&entries[1], &expected, sizeof expected - 3), 0);
}

TEST(IniReading, APageWithoutSectionsGivesNoEntry) {
    const Entries entries = parse_ini("GpuPrefer = 2\nFullPath = /x\n; nothing\n");
    EXPECT_TRUE(entries.empty());
}

TEST(IniReading, ValuesInFrontOfTheFirstSectionBelongToIt) {
    const Entries entries = parse_ini("FullPath = /early\nGpuPrefer = 3\n[a]\nGpuPrefer = 4\n[b]\n");
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_STREQ(entries[0].FullPath, "/early");
    EXPECT_EQ(entries[0].GpuPrefer, 4);
    EXPECT_STREQ(entries[1].FullPath, "");
}

TEST(IniReading, ACommentBehindAValueIsCutOff) {
    EXPECT_EQ(only_entry("[a]\nGpuPrefer = 2 ; comment\n").GpuPrefer, 2);
}

TEST(IniReading, ASemicolonCutsTheValueItStandsIn) {
    EXPECT_STREQ(only_entry("[a]\nFullPath = /opt/a;b/c\n").FullPath, "/opt/a");
}

TEST(IniReading, ASemicolonInFrontOfTheBracketUndoesAHeader) {
    EXPECT_EQ(parse_ini("[a;b]\n").size(), 0U);
    EXPECT_EQ(parse_ini(";[a]\n").size(), 0U);
    EXPECT_THAT(names(parse_ini("[a] ; [b]\n")), ElementsAre("a"));
}

TEST(IniReading, KeysAreCaseSensitiveAndWhole) {
    const Entry entry =
        only_entry("[a]\nfullpath = /x\nFullPathX = /y\nFullPat = /z\ngpuprefer=7\nX GpuPrefer=8\n = 9\n");
    EXPECT_STREQ(entry.FullPath, "");
    EXPECT_EQ(entry.GpuPrefer, 0);
}

TEST(IniReading, LinesWithoutAnEqualsSignAreIgnored) {
    EXPECT_EQ(only_entry("[a]\nGpuPrefer 2\nnoise\n").GpuPrefer, 0);
}

TEST(IniReading, AHeaderWithoutItsClosingBracketIsAnOrdinaryLine) {
    EXPECT_EQ(parse_ini("[abc\n").size(), 0U);
    EXPECT_THAT(names(parse_ini("[a]\n[abc\nGpuPrefer=1\n")), ElementsAre("a"));
}

TEST(IniReading, AHeaderEndsAtItsFirstClosingBracketAndIgnoresTheRest) {
    EXPECT_THAT(names(parse_ini("[a]b]\n")), ElementsAre("a"));
    EXPECT_THAT(names(parse_ini("[a] GpuPrefer = 3\n")), ElementsAre("a"));
    EXPECT_EQ(only_entry("[a] GpuPrefer = 3\n").GpuPrefer, 0);
    EXPECT_THAT(names(parse_ini("[key = value]\n")), ElementsAre("key = value"));
}

TEST(IniReading, ANameKeepsItsInnerBlanksAndMayBeEmpty) {
    EXPECT_THAT(names(parse_ini("  [ a b ]  \n[]\n")), ElementsAre(" a b ", ""));
}

TEST(IniReading, ALineThatOnlyContainsBracketsLaterIsNoHeader) {
    EXPECT_EQ(parse_ini("x [a]\n").size(), 0U);
}

TEST(IniReading, AValueMayHoldAnEqualsSign) {
    EXPECT_STREQ(only_entry("[a]\nFullPath = /x=y = z\n").FullPath, "/x=y = z");
}

TEST(IniReading, KeysAndValuesAreTrimmed) {
    const Entry entry = only_entry("[a]\r\n\t FullPath \v=\f /x y\t\r\n  PreferGpuName=g \r\nGpuPrefer=\t5\r\n");
    EXPECT_STREQ(entry.FullPath, "/x y");
    EXPECT_STREQ(entry.PreferGpuName, "g");
    EXPECT_EQ(entry.GpuPrefer, 5);
}

TEST(IniReading, ValuesOfBytesAbove0x7FAreKeptWhole) {
    EXPECT_STREQ(only_entry("[a]\nFullPath = \xC2\xA0/\xE4\x85\n").FullPath, "\xC2\xA0/\xE4\x85");
}

TEST(IniReading, ANameOf64CharactersFillsItsFieldWithoutATerminator) {
    const std::string name(63, 'n');
    const Entry whole = only_entry("[" + name + "]\n");
    EXPECT_EQ(std::string(whole.name, 64), name + '\0');
    const Entry full = only_entry("[" + name + "NX]\nFullPath=/p\n");
    EXPECT_EQ(std::string(full.name, 64), name + "N");
    EXPECT_STREQ(full.FullPath, "/p");
}

TEST(IniReading, AGpuNameOf16CharactersFillsItsFieldWithoutATerminator) {
    const Entry whole = only_entry("[a]\nPreferGpuName = 123456789012345\n");
    EXPECT_EQ(std::string(whole.PreferGpuName, 16), "123456789012345\0"s);
    const Entry full = only_entry("[a]\nPreferGpuName = 1234567890123456X\n");
    EXPECT_EQ(std::string(full.PreferGpuName, 16), "1234567890123456");
    EXPECT_EQ(full.bus_domain, 0);
}

TEST(IniReading, APathOf512CharactersFillsItsFieldWithoutATerminator) {
    const std::string path(511, 'p');
    const Entry whole = only_entry("[a]\nFullPath = " + path + "\n");
    EXPECT_EQ(std::string(whole.FullPath, 512), path + '\0');
    const Entry full = only_entry("[a]\nFullPath = " + path + "QX\nGpuPrefer = 1\n");
    EXPECT_EQ(std::string(full.FullPath, 512), path + "Q");
    EXPECT_EQ(full.GpuPrefer, 1);
}

TEST(IniReading, PreferencesAreSignedDecimalNumbersAndOthersLeaveTheOldValue) {
    struct Row {
        const char* value;
        std::int32_t read;
    };
    constexpr Row kRows[] = {
        {"2", 2},
        {"-1", -1},
        {"+7", 7},
        {"  12", 12},
        {"12abc", 12},
        {"0x10", 0},
        {"010", 10},
        {"2147483647", INT32_MAX},
        {"-2147483648", INT32_MIN},
        {"2147483648", INT32_MIN},    // the low 32 bits
        {"4294967297", 1},            // likewise
        {"99999999999999999999", -1}, // the low 32 bits of the largest 64-bit number
        {"-99999999999999999999", 0}, // of the smallest
        {"", 77},
        {"abc", 77},
        {"- 1", 77},
        {"+-1", 77},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(only_entry("[a]\nGpuPrefer = 77\nGpuPrefer = "s + row.value + "\n").GpuPrefer, row.read) << row.value;
    }
}

TEST(IniReading, BusIdsAreDecimal) {
    const Entry entry = only_entry("[a]\nPreferGpuBusID = 0010:10:09.7\n");
    EXPECT_EQ(entry.bus_domain, 10);
    EXPECT_EQ(entry.bus_number, 10);
    EXPECT_EQ(entry.device_number, 9);
    EXPECT_EQ(entry.function_number, 7);
}

// Offsets 596 to 603: domain, bus, device, function, three reserved bytes.
TEST(IniReading, EachNumberOfABusIdKeepsItsLowBitsAndTheLastSpillsIntoTheReservedBytes) {
    struct Row {
        const char* value;
        std::vector<int> stored;
    };
    const Row rows[] = {
        {"65535:255:31.7", {255, 255, 255, 31, 7, 0, 0, 0}},       {"65536:256:256.0", {0, 0, 0, 0, 0, 0, 0, 0}},
        {"65537:257:258.259", {1, 0, 1, 2, 3, 1, 0, 0}},           {"0:0:0.16909060", {0, 0, 0, 0, 4, 3, 2, 1}},
        {"-1:-1:-1.-1", {255, 255, 255, 255, 255, 255, 255, 255}}, {"-1:1:1.1", {255, 255, 1, 1, 1, 0, 0, 0}},
        {" 1: 2:\t3. 4 rest", {1, 0, 2, 3, 4, 0, 0, 0}},           {"1:2:3.4.5", {1, 0, 2, 3, 4, 0, 0, 0}},
    };
    for (const Row& row : rows) {
        const Entry entry = only_entry("[a]\nPreferGpuBusID = "s + row.value + "\n");
        EXPECT_EQ(bytes(entry, 596, 8), row.stored) << row.value;
    }
}

TEST(IniReading, ABusIdThatBreaksOffStoresOnlyTheNumbersInFrontOfTheBreak) {
    struct Row {
        const char* value;
        std::vector<int> stored;
    };
    // Before: every byte from 596 to 603 is 0xFF.
    const Row rows[] = {
        {"", {255, 255, 255, 255, 255, 255, 255, 255}},
        {"x", {255, 255, 255, 255, 255, 255, 255, 255}},
        {":2:3.4", {255, 255, 255, 255, 255, 255, 255, 255}},
        {"1", {1, 0, 0, 0, 255, 255, 255, 255}},
        {"1:", {1, 0, 0, 0, 255, 255, 255, 255}},
        {"1 :2", {1, 0, 0, 0, 255, 255, 255, 255}},
        {"1.2", {1, 0, 0, 0, 255, 255, 255, 255}},
        {"1:2", {1, 0, 2, 0, 0, 0, 255, 255}},
        {"1:2:x", {1, 0, 2, 0, 0, 0, 255, 255}},
        {"1:2:3", {1, 0, 2, 3, 0, 0, 0, 255}},
        {"1:2:3:4", {1, 0, 2, 3, 0, 0, 0, 255}},
        {"0000:0a:00.0", {0, 0, 0, 0, 0, 0, 255, 255}}, // hexadecimal is not understood
    };
    for (const Row& row : rows) {
        const Entry entry = only_entry("[a]\nPreferGpuBusID = -1:-1:-1.-1\nPreferGpuBusID = "s + row.value + "\n");
        EXPECT_EQ(bytes(entry, 596, 8), row.stored) << row.value;
    }
}

TEST(IniReading, ALineIsTakenInPiecesOf611Characters) {
    const std::string first = "FullPath = " + std::string(600, 'p');
    ASSERT_EQ(first.size(), 611U);
    // The key of the second piece starts exactly at its front, or one character behind it.
    const Entry entry = only_entry("[a]\n" + first + "GpuPrefer = 5\n");
    EXPECT_EQ(std::string(entry.FullPath, 512), std::string(512, 'p'));
    EXPECT_EQ(entry.GpuPrefer, 5);
    EXPECT_EQ(only_entry("[a]\nx" + first + "GpuPrefer = 5\n").GpuPrefer, 0);
}

TEST(IniReading, ALineOfAboutOnePieceEndsAtItsNewline) {
    for (const std::size_t length : {610U, 611U, 612U}) {
        std::string line = "x = ";
        line.resize(length, 'y');
        EXPECT_EQ(only_entry("[a]\n" + line + "\nGpuPrefer = 5\n").GpuPrefer, 5) << length;
    }
}

TEST(IniReading, ACommentReachesOnlyToTheEndOfItsPiece) {
    EXPECT_EQ(only_entry("[a]\n;" + std::string(610, 'c') + "GpuPrefer = 5\n").GpuPrefer, 5);
}

TEST(IniReading, AZeroByteEndsItsLine) {
    EXPECT_EQ(only_entry("[a]\nGpuPrefer = 4\0 2\nPreferGpuName = g\0\n"s).GpuPrefer, 4);
    EXPECT_EQ(parse_ini("\0[a]\n"s).size(), 0U);
    EXPECT_EQ(parse_ini("[a\0]\n"s).size(), 0U);
    EXPECT_THAT(names(parse_ini("[a]\0[b]\n[c]\n"s)), ElementsAre("a", "c"));
}

TEST(IniReading, TheLastLineNeedsNoNewline) {
    EXPECT_EQ(only_entry("[a]\nGpuPrefer = 6").GpuPrefer, 6);
}

TEST(IniReading, LinesThatOnlyBeginLikeAHeaderTakeNoMemory) {
    std::string page;
    for (int line = 0; line < 500'000; ++line) {
        page += "[\n";
    }
    EXPECT_EQ(parse_ini(page).capacity(), 0U);
}

TEST(IniReading, MemoryStaysInProportionToTheSectionsThatAreThere) {
    std::string page;
    for (int section = 0; section < 100; ++section) {
        page += "[a]\n";
    }
    page.append(1'000'000, '\n');
    const Entries entries = parse_ini(page);
    EXPECT_EQ(entries.size(), 100U);
    EXPECT_LE(entries.capacity(), 400U);
}

TEST(IniReading, SectionsThatComeLateAreReadAllTheSame) {
    std::string page(5000, '\n');
    for (int section = 0; section < 3000; ++section) {
        page += "[" + std::to_string(section) + "]\n";
    }
    const Entries entries = parse_ini(page);
    ASSERT_EQ(entries.size(), 3000U);
    EXPECT_STREQ(entries[0].name, "0");
    EXPECT_STREQ(entries[2999].name, "2999");
}
