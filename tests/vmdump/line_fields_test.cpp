// SPDX-License-Identifier: MIT
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/raised_error.hpp"
#include "vmdump/line_fields.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

using kt3::tests::error_of;

namespace {

const std::string kEntry = "  2:3: entry addr:0x10, buffer:x\n";
const std::string kSubTable = "1:40 Snoop:1 Segment:2 Addr:0xabc\n";

} // namespace

TEST(LineFields, ReadAnEntryLine) {
    EXPECT_EQ(find_Level_in_Table(kEntry), 2);
    EXPECT_EQ(find_Index_in_Table(kEntry), 3);
    EXPECT_EQ(find_Addr_in_Table(kEntry, "addr:"), "0x10");
    EXPECT_EQ(find_Buffer_in_Table(kEntry, "buffer:"), "x");
}

TEST(LineFields, ReadASubTableLine) {
    EXPECT_EQ(find_Level_in_Table(kSubTable), 1);
    EXPECT_EQ(find_Index_in_Table(kSubTable), 40);
    EXPECT_EQ(find_value_in_subTable(kSubTable, "Snoop:"), 1);
    EXPECT_EQ(find_value_in_subTable(kSubTable, "Segment:"), 2);
    EXPECT_EQ(find_value_in_subTable(kSubTable, "LargePage:"), 0);
    EXPECT_EQ(find_Addr_in_Table(kSubTable, "Addr:"), "0xabc");
}

TEST(LevelOfLine, SkipsBlanksOnlyInFrontAndStopsAtTheFirstColon) {
    EXPECT_EQ(find_Level_in_Table("     1:2:"), 1);
    EXPECT_EQ(find_Level_in_Table("\t 1:2:"), 1); // white space that the conversion skips
    EXPECT_EQ(find_Level_in_Table("-1x9:"), -1);
    EXPECT_EQ(find_Level_in_Table("+2:"), 2);
}

TEST(LevelOfLine, GivesNoLevelWithoutAColon) {
    EXPECT_EQ(find_Level_in_Table("2 entry"), -1);
    EXPECT_EQ(find_Level_in_Table("   "), -1);
    EXPECT_EQ(find_Level_in_Table(""), -1);
}

TEST(LevelOfLine, RaisesTheStandardErrorsForWhatIsNoNumber) {
    EXPECT_EQ(error_of<std::invalid_argument>([] { find_Level_in_Table(":1: entry"); }), "stoi");
    EXPECT_EQ(error_of<std::invalid_argument>([] { find_Level_in_Table("x:1: entry"); }), "stoi");
    EXPECT_EQ(error_of<std::out_of_range>([] { find_Level_in_Table("2147483648:1: entry"); }), "stoi");
    EXPECT_EQ(find_Level_in_Table("2147483647:1: entry"), INT32_MAX);
    EXPECT_EQ(find_Level_in_Table("-2147483648:1: entry"), INT32_MIN);
}

TEST(IndexOfLine, EndsAtTheSecondColonOnEntryLinesAndAtABlankOnSubTableLines) {
    EXPECT_EQ(find_Index_in_Table("0:12: entry"), 12);
    EXPECT_EQ(find_Index_in_Table("2:511 Snoop:1"), 511);
    EXPECT_EQ(find_Index_in_Table("2: 7: entry"), 7); // a blank inside is skipped by the conversion
    EXPECT_EQ(find_Index_in_Table("2:9 entry"), 9);   // no second colon: up to the end of the line
    EXPECT_EQ(find_Index_in_Table("2:9 entry Snoop:1"), 9);
}

TEST(IndexOfLine, IsZeroWithoutAColon) {
    EXPECT_EQ(find_Index_in_Table("entry"), 0);
    EXPECT_EQ(find_Index_in_Table(""), 0);
}

TEST(IndexOfLine, RaisesInvalidArgumentForABlankBehindTheColonOfASubTableLine) {
    EXPECT_EQ(error_of<std::invalid_argument>([] { find_Index_in_Table("2: 7 Snoop:1"); }), "stoi");
    EXPECT_EQ(error_of<std::invalid_argument>([] { find_Index_in_Table("2:"); }), "stoi");
    EXPECT_EQ(error_of<std::out_of_range>([] { find_Index_in_Table("2:99999999999: entry"); }), "stoi");
}

TEST(AddressOfLine, KeepsTheNewlineOnAnEntryLineWithoutComma) {
    EXPECT_EQ(find_Addr_in_Table("1:1: entry addr:0x10 \n", "addr:"), "0x10 \n");
}

TEST(AddressOfLine, StopsAtTheCommaBehindTheKeyAndNotAtAnEarlierOne) {
    EXPECT_EQ(find_Addr_in_Table("1:1: entry a,b addr: 0x10 ,c,d", "addr:"), " 0x10 ");
}

TEST(AddressOfLine, IsEmptyWithoutAKeyOrOnOtherLines) {
    EXPECT_EQ(find_Addr_in_Table("1:1: entry", "addr:"), "");
    EXPECT_EQ(find_Addr_in_Table("1:1 Snoop:1", "Addr:"), "");
    EXPECT_EQ(find_Addr_in_Table("1:1: addr:0x10, x", "addr:"), "");
}

TEST(AddressOfLine, RunsToTheEndOnceALineHoldsSnoop) {
    EXPECT_EQ(find_Addr_in_Table("1:1: entry Snoop addr:0x10, buffer:x \t\r\n", "addr:"), "0x10, buffer:x");
    EXPECT_EQ(find_Addr_in_Table("1:1 Snoop:1 Addr: \n\r\t ", "Addr:"), "");
}

TEST(BufferOfLine, IsTheTrimmedRest) {
    EXPECT_EQ(find_Buffer_in_Table("1:1: entry buffer: a, b \t \r\n", "buffer:"), " a, b");
    EXPECT_EQ(find_Buffer_in_Table("1:1: entry", "buffer:"), "");
    EXPECT_EQ(find_Buffer_in_Table("1:1: entry buffer:\n", "buffer:"), "");
}

TEST(SubTableValue, EndsAtABlankOrAtTheEndOfTheLine) {
    EXPECT_EQ(find_value_in_subTable("Snoop:17 x", "Snoop:"), 17);
    EXPECT_EQ(find_value_in_subTable("Snoop:17\n", "Snoop:"), 17);
    EXPECT_EQ(find_value_in_subTable("Snoop:-3x", "Snoop:"), -3);
}

TEST(SubTableValue, RaisesInvalidArgumentWhenNothingFollowsTheKey) {
    EXPECT_EQ(error_of<std::invalid_argument>([] { find_value_in_subTable("1:1 Snoop:", "Snoop:"); }), "stoi");
    EXPECT_EQ(error_of<std::invalid_argument>([] { find_value_in_subTable("1:1 Snoop: 1", "Snoop:"); }), "stoi");
    EXPECT_EQ(error_of<std::out_of_range>([] { find_value_in_subTable("Snoop:4294967296", "Snoop:"); }), "stoi");
}

TEST(SubTableValue, WrapsAroundWhenTheKeyItselfHoldsTheBlank) {
    EXPECT_EQ(find_value_in_subTable("a b:42 c", "a b:"), 42);
}

TEST(ExtractValue, StartsTwoBehindTheEqualsSignAndEndsBeforeTheNewline) {
    EXPECT_EQ(extractValue("size = 0x2000\nx", "size"), "0x2000");
    EXPECT_EQ(extractValue("size = 0x2000", "size"), "0x2000");
    EXPECT_EQ(extractValue("size =0x2000\n", "size"), "x2000");
    EXPECT_EQ(extractValue("size\n", "gpu_va"), "");
}

TEST(ExtractValue, StartsAtTheSecondCharacterOfTheTextWithoutAnEqualsSign) {
    EXPECT_EQ(extractValue("abc size\nrest", "size"), "bc size");
    EXPECT_EQ(extractValue("abc size", "size"), "bc size");
}

TEST(ExtractValue, RunsToTheEndWhenTheValueStartsBehindTheNewline) {
    EXPECT_EQ(extractValue("size =\nabc\n", "size"), "abc\n");
    EXPECT_EQ(extractValue("size\na = 5\nb", "size"), "5\nb");
}

TEST(ExtractValue, TakesTheFirstKeyEvenInsideAnotherValue) {
    EXPECT_EQ(extractValue("device_pname = resize\nsize = 0x10\n", "size"), "0x10\n");
    EXPECT_EQ(extractValue("resize = 1\nsize = 2\n", "size"), "1");
}

TEST(ExtractValue, RaisesTheSubstringErrorForAnEqualsSignAsTheLastByte) {
    EXPECT_EQ(error_of<std::out_of_range>([] { extractValue("size =", "size"); }),
              "basic_string::substr: __pos (which is 7) > this->size() (which is 6)");
    EXPECT_EQ(extractValue("size =\n", "size"), "");
    EXPECT_EQ(extractValue("size = ", "size"), "");
}

TEST(LevelFlags, AreOneHotAndAllOffForOtherLevels) {
    const int expected[][4] = {{0, 1, 0, 0}, {1, 0, 1, 0}, {2, 0, 0, 1}, {5, 0, 0, 0}, {-1, 0, 0, 0}};
    for (const auto& row : expected) {
        int in0 = 7;
        int in1 = 7;
        int in2 = 7;
        update_PageTable_Flags(in0, in1, in2, row[0]);
        EXPECT_EQ(in0, row[1]) << row[0];
        EXPECT_EQ(in1, row[2]) << row[0];
        EXPECT_EQ(in2, row[3]) << row[0];
    }
}

TEST(PidNumber, IsWhatFollowsTheFirstKeyWithoutTrailingWhiteSpace) {
    EXPECT_EQ(find_Pid_number("pid = 4711\n"), "4711");
    EXPECT_EQ(find_Pid_number("x pid = 1 pid = 2 \t\r\n"), "1 pid = 2");
    EXPECT_EQ(find_Pid_number("pid=4711\n"), "");
    EXPECT_EQ(find_Pid_number("pid = \n"), "");
}
