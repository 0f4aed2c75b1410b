// SPDX-License-Identifier: MIT
#include "support/log_capture.hpp"
#include "vmdump/dump_text.hpp"
#include "vmdump/table_lookup.hpp"

#include <gtest/gtest.h>

#include <iomanip>
#include <iostream>
#include <locale>
#include <sstream>

using namespace kt3::tests;

namespace {

// Level 0 leads through 0x1a and 0x2b to the entry 2:9.
std::string walkable() {
    return entry_line(0, 0, "5000") + entry_line(0, 1, "6000") + sub_line(0, 3, "0x1a") + sub_line(0, 4, "0x1c") +
           entry_line(1, 0, "9000") + entry_line(1, 1, "1a000") + sub_line(1, 7, "0x2b") + entry_line(1, 2, "1a000") +
           sub_line(1, 8, "0x77") + entry_line(2, 0, "2b000") + sub_line(2, 9, "0xbeef") + sub_line(2, 10, "0xf00d");
}

std::string place_of(const void* at) {
    if (at == nullptr) {
        return "0";
    }
    std::ostringstream out;
    out << at;
    return out.str();
}

} // namespace

TEST(FindSubTable, WalksFromLevelToLevel) {
    data_vectors record = read_text(walkable());
    const std::string first = Find_SubTable_0_addr(3, &record);
    EXPECT_EQ(first, "0x1a");
    const std::string second = Find_SubTable_1_addr(7, &record, first);
    EXPECT_EQ(second, "0x2b");
    const vidmm_vm_pte_elt3k node = Find_SubTable_2_node(10, &record, second);
    EXPECT_EQ(node.found, 1);
    EXPECT_STREQ(node.Addr, "0xf00d");
    EXPECT_EQ(node.Snoop, 1);
    EXPECT_EQ(node.Segment, 2);
    EXPECT_EQ(node.LargePage, 3);
    EXPECT_EQ(node.ST_Level, 2);
    EXPECT_EQ(node.Index, 10);
    EXPECT_EQ(node.pre, &record.st_level2[0]);
    EXPECT_EQ(node.next, nullptr);
    EXPECT_EQ(node.parent, nullptr);
    EXPECT_EQ(record.st_level2[1].found, 0);
}

TEST(FindSubTable, Level0LooksBelowTheLastEntryOnly) {
    data_vectors record = read_text(entry_line(0, 0) + sub_line(0, 3) + entry_line(0, 1));
    EXPECT_EQ(Find_SubTable_0_addr(3, &record), "");
}

TEST(FindSubTable, Level0IsEmptyWithoutEntriesOrMatch) {
    data_vectors empty;
    EXPECT_EQ(Find_SubTable_0_addr(3, &empty), "");
    data_vectors record = read_text(walkable());
    EXPECT_EQ(Find_SubTable_0_addr(99, &record), "");
}

TEST(FindSubTable, Level1TakesTheFirstTableAtTheAddressOnly) {
    data_vectors record = read_text(walkable());
    EXPECT_EQ(Find_SubTable_1_addr(8, &record, "0x1a"), "");
    EXPECT_EQ(Find_SubTable_1_addr(7, &record, ""), "");
    EXPECT_EQ(Find_SubTable_1_addr(7, &record, "0x1b"), "");
    EXPECT_EQ(Find_SubTable_1_addr(7, &record, "??1a"), "0x2b"); // whatever the first two characters are
    EXPECT_EQ(Find_SubTable_1_addr(7, &record, "a"), "");
}

TEST(FindSubTable, Level2GivesNullLinksAndNotFoundWithoutAMatch) {
    data_vectors record = read_text(walkable());
    for (const char* address : {"", "0x9", "0x2b"}) {
        const vidmm_vm_pte_elt3k node = Find_SubTable_2_node(99, &record, address);
        EXPECT_EQ(node.found, 0);
        EXPECT_EQ(node.next, nullptr);
        EXPECT_EQ(node.pre, nullptr);
        EXPECT_EQ(node.parent, nullptr);
    }
}

TEST(FindSubTable, WorksOnCopiesInAList) {
    std::vector<data_vectors> list;
    for (int i = 0; i < 5; ++i) {
        const data_vectors record = read_text(walkable());
        list.push_back(record);
    }
    EXPECT_EQ(Find_SubTable_0_addr(4, &list[0]), "0x1c");
    EXPECT_EQ(Find_SubTable_1_addr(7, &list[4], "0x1a"), "0x2b");
    EXPECT_EQ(Find_SubTable_2_node(9, &list[2], "0x2b").found, 1);
}

TEST(Print, PageTableGivesOneLine) {
    data_vectors record = read_text(entry_line(0, 4, "0x10", "some text") + sub_line(0, 1) + entry_line(1, 5));
    vidmm_vm_pt& entry = record.pt_level0[0];
    OutputCapture output;
    Print_PageTable(&entry);
    EXPECT_EQ(output.text(), "PT_Level:0  PT_index:4  PT_entry:" + place_of(&entry) + "  PT_sub_entries:" +
                                 place_of(entry.sub_entries) + "  parent:0  entries:" + place_of(entry.entries) +
                                 "  pre:0  next:0  Addr:0x10  Buffer:some text\n");
}

TEST(Print, SubTableGivesOneLine) {
    data_vectors record = read_text(entry_line(0, 4) + sub_line(0, 1) + sub_line(0, 2, "0xabc"));
    vidmm_vm_pte_elt3k& entry = record.st_level0[1];
    OutputCapture output;
    Print_SubTable(&entry);
    EXPECT_EQ(output.text(), "ST_LeveL:0  Index:2  sub_entry:" + place_of(&entry) +
                                 "  parent:0  pre:" + place_of(entry.pre) + "  next:0  Addr:0xabc\n");
}

namespace {

struct Grouped : std::numpunct<char> {
    [[nodiscard]] char do_thousands_sep() const override { return '.'; }
    [[nodiscard]] std::string do_grouping() const override { return "\3"; }
};

} // namespace

TEST(Print, IsDecimalWhateverTheClientLeftInItsStreams) {
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouped));
    std::cout << std::hex << std::showbase << std::left << std::setfill('*') << std::setprecision(3);
    data_vectors record = read_text(entry_line(0, 1234) + sub_line(0, 2345, "0xabc"));
    std::cout.width(500);
    OutputCapture output;
    Print_PageTable(&record.pt_level0[0]);
    Print_SubTable(&record.st_level0[0]);
    const std::string text = output.text();
    const bool flags_kept = (std::cout.flags() & std::ios::basefield) == std::ios::hex && std::cout.width() == 500 &&
                            std::cout.fill() == '*' && std::cout.precision() == 3;
    std::cout.width(0);
    std::cout << std::dec << std::noshowbase << std::setfill(' ') << std::setprecision(6);
    std::locale::global(before);
    EXPECT_TRUE(flags_kept);
    EXPECT_EQ(text, "PT_Level:0  PT_index:1234  PT_entry:" + place_of(&record.pt_level0[0]) +
                        "  PT_sub_entries:" + place_of(&record.st_level0[0]) +
                        "  parent:0  entries:0  pre:0  next:0  Addr:0x1000  Buffer:b\nST_LeveL:0  Index:2345"
                        "  sub_entry:" +
                        place_of(&record.st_level0[0]) + "  parent:" + place_of(&record.pt_level0[0]) +
                        "  pre:0  next:0  Addr:0xabc\n");
}
