// SPDX-License-Identifier: MIT
#include "output/text_table.hpp"

using namespace kt3::output;

namespace {

const Table kTable{{{"SLOT", "slot", Align::right}, {"NAME", "name"}, {"VA", "va"}},
                   {{"0", "Größe", "yes"}, {"12345", "x", ""}}};

} // namespace

TEST(AlignedTable, PutsColumnsTwoBlanksApartAndEndsLinesWithoutBlanks) {
    EXPECT_EQ(aligned(kTable, false), " SLOT  NAME   VA\n"
                                      "    0  Größe  yes\n"
                                      "12345  x\n");
}

TEST(AlignedTable, EscapesControlBytesInCells) {
    const Table table{{{"A", "a"}}, {{"\x1b[2J"}}};
    EXPECT_EQ(aligned(table, false), "A\n\\x1b[2J\n");
}

TEST(AlignedTable, ColoursTheHeadingOnlyWhenAsked) {
    const Table table{{{"A", "a"}}, {{"b"}}};
    EXPECT_EQ(aligned(table, true), "\x1b[1mA\x1b[0m\nb\n");
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
