// SPDX-License-Identifier: MIT
#include "output/text_table.hpp"

#include "output/screen_text.hpp"

#include <algorithm>
#include <sstream>

using namespace kt3::output;

namespace {

const Table kTable{{{"SLOT", "slot", Align::right}, {"NAME", "name"}, {"VA", "va"}},
                   {{"0", "Größe", "yes"}, {"12345", "x", ""}}};

} // namespace

TEST(AlignedTable, PutsColumnsTwoSpacesApartAndEndsLinesWithoutSpaces) {
    EXPECT_EQ(aligned(kTable, {}), " SLOT  NAME   VA\n"
                                   "    0  Größe  yes\n"
                                   "12345  x\n");
}

TEST(AlignedTable, EscapesControlBytesInCells) {
    const Table table{{{"A", "a"}}, {{"\x1b[2J"}}};
    EXPECT_EQ(aligned(table, {}), "A\n\\x1b[2J\n");
}

TEST(AlignedTable, ColoursTheHeadingOnlyWhenAsked) {
    const Table table{{{"A", "a"}}, {{"b"}}};
    EXPECT_EQ(aligned(table, {.color = true}), "\x1b[1mA\x1b[0m\nb\n");
}

TEST(AlignedTable, PaintsCellsWithoutTheSpacesAroundThem) {
    Table table{{{"A", "a"}, {"BAR", "bar"}, {"N", "n", Align::right}}, {{"x", "[#]", "7"}, {"y", "", "10"}}};
    table.paints = {{Paint::plain, Paint::warn, Paint::bad}, {Paint::plain, Paint::plain, Paint::good}};
    EXPECT_EQ(aligned(table, {}), "A  BAR   N\n"
                                  "x  [#]   7\n"
                                  "y       10\n");
    EXPECT_EQ(aligned(table, {.color = true}), "\x1b[1mA  BAR   N\x1b[0m\n"
                                               "x  \x1b[33m[#]\x1b[0m   \x1b[31m7\x1b[0m\n"
                                               "y       \x1b[32m10\x1b[0m\n");
}

namespace {

std::size_t longest_line(const std::string& text) {
    std::size_t longest = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        longest = std::max(longest, character_count(line));
    }
    return longest;
}

const Table kWide{{{"PID", "pid", Align::right, Rank::stays},
                   {"SEGMENT 0", "segment0_bytes", Align::right, Rank::first},
                   {"SEGMENT 1", "segment1_bytes", Align::right, Rank::first},
                   {"TOTAL", "total_bytes", Align::right, Rank::third},
                   {"PROCESS", "process", Align::left, Rank::stays}},
                  {{"41005", "8.0 MiB", "1.2 GiB", "1.2 GiB",
                    "/opt/applications/modelling-suite/releases/2024.2/bin/render-farm-worker-process"}}};

} // namespace

TEST(AlignedTable, IsNotCutWithoutAWidth) {
    EXPECT_THAT(aligned(kWide, {}), ::testing::HasSubstr("render-farm-worker-process\n"));
}

TEST(AlignedTable, ShortensTextsInTheMiddleBeforeItLosesColumns) {
    const std::string text = aligned(kWide, {.width = 60});
    EXPECT_EQ(longest_line(text), 60U);
    EXPECT_THAT(text, ::testing::HasSubstr("SEGMENT 1"));
    EXPECT_THAT(text, ::testing::HasSubstr("  /opt/a...orker-process\n"));
}

TEST(AlignedTable, LeavesOutColumnsOfTheLowestRankFromTheRightAndNamesThem) {
    const std::string text = aligned(kWide, {.width = 48});
    EXPECT_LE(longest_line(text), 48U);
    EXPECT_THAT(text, ::testing::StartsWith("  PID  SEGMENT 0    TOTAL  PROCESS\n"));
    EXPECT_THAT(text, ::testing::HasSubstr("not shown for want of width: SEGMENT 1\n"));
    const std::string narrow = aligned(kWide, {.width = 27});
    EXPECT_THAT(narrow, ::testing::StartsWith("  PID  PROCESS\n41005  /opt/...rker-process\n"));
}

TEST(AlignedTable, KeepsWhatStaysHoweverNarrowTheScreen) {
    EXPECT_THAT(aligned(kWide, {.width = 1}), ::testing::StartsWith("  PID  PROCESS\n"));
}

TEST(Shortened, KeepsBothEndsAndWholeCharacters) {
    EXPECT_EQ(shortened("abcdefghij", 10), "abcdefghij");
    EXPECT_EQ(shortened("abcdefghij", 9), "ab...ghij") << "the end says more";
    EXPECT_EQ(shortened("ÄÖÜäöüß€", 7), "Ä...üß€");
    EXPECT_EQ(shortened("abc", 2), "abc") << "dots alone say nothing";
}

TEST(Wrapped, BreaksBetweenWordsAndIndents) {
    EXPECT_EQ(wrapped("one two three", 8, 2), "one two\n  three");
    EXPECT_EQ(wrapped("one two three", 0, 2), "one two three");
    EXPECT_EQ(wrapped("one, unbreakable", 6, 2), "one, unbreakable") << "a longer word than fits stays in its line";
}

TEST(AlignedTable, PaintsCellsInsideTheirPadding) {
    const Table table{{{"TEMP", "t", Align::right}, {"B", "b"}}, {{"95 C", "x"}}, {{Paint::bad, Paint::plain}}};
    EXPECT_EQ(aligned(table, {.color = true}), "\x1b[1mTEMP  B\x1b[0m\n\x1b[31m95 C\x1b[0m  x\n");
    EXPECT_EQ(aligned(table, {}), "TEMP  B\n95 C  x\n");
}

TEST(CommaSeparated, BeginsWithTheKeysAndQuotesWhereNeeded) {
    const Table table{{{"A", "a_mhz"}, {"B", "b"}}, {{"x,y", "say \"hi\""}, {"", "two\nlines"}}};
    EXPECT_EQ(comma_separated(table), "a_mhz,b\n"
                                      "\"x,y\",\"say \"\"hi\"\"\"\n"
                                      ",two\\nlines\n");
}

TEST(FactList, AlignsTheValues) {
    EXPECT_EQ(fact_list({{"Bus id", "0000:03:00.0"}, {"VA", "a\tb"}}, 2, 8), "  Bus id    0000:03:00.0\n"
                                                                             "  VA        a\\tb\n");
}

TEST(Painted, LeavesPlainTextAlone) {
    EXPECT_EQ(painted("x", Paint::good, false), "x");
    EXPECT_EQ(painted("x", Paint::plain, true), "x");
    EXPECT_EQ(painted("x", Paint::bad, true), "\x1b[31mx\x1b[0m");
}
