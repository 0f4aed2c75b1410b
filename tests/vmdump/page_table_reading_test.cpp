// SPDX-License-Identifier: MIT
#include "support/descriptors.hpp"
#include "vmdump/dump_text.hpp"
#include "vmdump/page_table_reading.hpp"
#include "vmdump/vm_kernel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

using namespace kt3::tests;
using testing::ExitedWithCode;
using testing::KilledBySignal;

namespace {

std::vector<int> indexes(const std::vector<vidmm_vm_pt>& entries) {
    std::vector<int> all;
    for (const auto& entry : entries) {
        all.push_back(entry.PT_index);
    }
    return all;
}

} // namespace

TEST(PageTables, HangAsChildrenAndSiblings) {
    const auto record =
        read_text(entry_line(0, 1) + entry_line(1, 2) + entry_line(1, 3) + entry_line(2, 4) + entry_line(1, 5));
    ASSERT_EQ(record.pt_level0.size(), 1U);
    ASSERT_EQ(record.pt_level1.size(), 3U);
    ASSERT_EQ(record.pt_level2.size(), 1U);
    const auto& top = record.pt_level0[0];
    const auto* level1 = record.pt_level1.data();
    const auto& leaf = record.pt_level2[0];
    EXPECT_EQ(top.entries, &level1[0]);
    EXPECT_EQ(level1[0].parent, &top);
    EXPECT_EQ(level1[1].parent, nullptr);
    EXPECT_EQ(level1[0].next, &level1[1]);
    EXPECT_EQ(level1[1].pre, &level1[0]);
    EXPECT_EQ(leaf.parent, &level1[1]);
    EXPECT_EQ(level1[1].entries, &leaf);
    EXPECT_EQ(level1[2].pre, &level1[1]);
    EXPECT_EQ(level1[1].next, &level1[2]);
    EXPECT_EQ(level1[2].parent, nullptr);
}

TEST(PageTables, KeepTheTextsAndNumbersOfTheLine) {
    const auto record = read_text("  0:7: entry addr:0x1a20, buffer:text of the buffer \t\r\n");
    ASSERT_EQ(record.pt_level0.size(), 1U);
    const auto& entry = record.pt_level0[0];
    EXPECT_STREQ(entry.Addr, "0x1a20");
    EXPECT_STREQ(entry.Buffer, "text of the buffer");
    EXPECT_EQ(entry.PT_Level, 0);
    EXPECT_EQ(entry.PT_index, 7);
    EXPECT_EQ(entry.entries, nullptr);
    EXPECT_EQ(entry.parent, nullptr);
    EXPECT_EQ(entry.sub_entries, nullptr);
    EXPECT_EQ(entry.next, nullptr);
    EXPECT_EQ(entry.pre, nullptr);
}

TEST(PageTables, GiveLevelZeroEntriesNoLinksToEachOther) {
    const auto record = read_text(entry_line(0, 1) + entry_line(0, 2));
    EXPECT_EQ(record.pt_level0[0].next, nullptr);
    EXPECT_EQ(record.pt_level0[1].pre, nullptr);
}

TEST(PageTables, DropALevelOneLineThatComesFirstAndStoreTheNextWithoutPredecessor) {
    const auto record = read_text(entry_line(1, 1) + entry_line(1, 2) + entry_line(1, 3));
    ASSERT_EQ(indexes(record.pt_level1), (std::vector{2, 3}));
    EXPECT_EQ(record.pt_level1[0].pre, nullptr);
    EXPECT_EQ(record.pt_level1[0].parent, nullptr);
    EXPECT_EQ(record.pt_level1[1].pre, &record.pt_level1[0]);
}

TEST(PageTables, DropALevelTwoLineBehindLevelZeroAndStoreTheNextAsItsSibling) {
    const auto record = read_text(entry_line(0, 1) + entry_line(2, 2) + entry_line(2, 3) + entry_line(1, 4));
    EXPECT_EQ(indexes(record.pt_level2), std::vector{3});
    EXPECT_EQ(record.pt_level2[0].pre, nullptr);
    EXPECT_EQ(indexes(record.pt_level1), std::vector{4}); // a sibling, because the last line was of level 2
    EXPECT_EQ(record.pt_level1[0].parent, nullptr);
    EXPECT_EQ(record.pt_level0[0].entries, nullptr);
}

TEST(PageTables, StoreAFirstChildOfAMissingParentWithANullLink) {
    const auto record = read_text(entry_line(1, 1) + entry_line(2, 2));
    ASSERT_EQ(indexes(record.pt_level2), std::vector{2});
    EXPECT_EQ(record.pt_level2[0].parent, nullptr);
}

TEST(PageTables, IgnoreOtherLevelsButEndTheSubTableRun) {
    const auto record =
        read_text(entry_line(0, 1) + sub_line(0, 1) + entry_line(5, 9) + sub_line(0, 2) + entry_line(1, 3));
    ASSERT_EQ(record.st_level0.size(), 2U);
    EXPECT_EQ(record.st_level0[1].pre, nullptr);
    EXPECT_EQ(record.st_level0[1].parent, &record.pt_level0[0]);
    EXPECT_EQ(record.pt_level0[0].sub_entries, &record.st_level0[1]);
    EXPECT_EQ(record.pt_level1[0].parent, &record.pt_level0[0]); // the flags were left alone
}

TEST(PageTables, LinkTheLaterChildWhenAParentGetsASecondFirstChild) {
    const auto record = read_text(entry_line(0, 1) + entry_line(1, 2) + entry_line(0, 3) + entry_line(1, 4));
    EXPECT_EQ(record.pt_level1[1].parent, &record.pt_level0[1]);
    EXPECT_EQ(record.pt_level1[1].pre, nullptr);
    EXPECT_EQ(record.pt_level1[0].next, nullptr);
}

TEST(SubTables, KeepTheFieldsOfTheLine) {
    const auto record =
        read_text("2:511 Snoop:1 Segment:70000 LargePage:3 Addr:0x3f00 \t\n1:2 Snoop:0 Segment:0 Addr:");
    ASSERT_EQ(record.st_level2.size(), 1U);
    const auto& entry = record.st_level2[0];
    EXPECT_EQ(entry.Snoop, 1);
    EXPECT_EQ(entry.Segment, 70000 - 65536);
    EXPECT_EQ(entry.LargePage, 3);
    EXPECT_STREQ(entry.Addr, "0x3f00");
    EXPECT_EQ(entry.ST_Level, 2);
    EXPECT_EQ(entry.Index, 511);
    EXPECT_EQ(entry.found, 0);
    EXPECT_EQ(entry.DigitalIndex.parent_level, 0);
    EXPECT_EQ(entry.DigitalIndex.parent_index, 0);
    ASSERT_EQ(record.st_level1.size(), 1U);
    EXPECT_STREQ(record.st_level1[0].Addr, "");
    EXPECT_EQ(record.st_level1[0].LargePage, 0);
}

TEST(SubTables, HaveNoLargePageWhenItsKeyLacksTheColon) {
    const auto record = read_text("0:1 Snoop:1 Segment:2 LargePage 7 Addr:0x10\n");
    ASSERT_EQ(record.st_level0.size(), 1U);
    EXPECT_EQ(record.st_level0[0].LargePage, 0);
}

TEST(SubTables, OfLevelTwoHangUnderTheLastLevelTwoEntryEvenBehindALevelOneLine) {
    const auto record = read_text(entry_line(0, 1) + entry_line(1, 2) + entry_line(2, 3) + entry_line(1, 4) +
                                  sub_line(2, 5) + sub_line(2, 6));
    EXPECT_EQ(record.st_level2[0].parent, &record.pt_level2[0]);
    EXPECT_EQ(record.pt_level2[0].sub_entries, &record.st_level2[0]);
    EXPECT_EQ(record.pt_level1[1].sub_entries, nullptr);
    EXPECT_EQ(record.st_level2[1].parent, nullptr);
    EXPECT_EQ(record.st_level2[1].pre, &record.st_level2[0]);
    EXPECT_EQ(record.st_level2[0].next, &record.st_level2[1]);
}

TEST(SubTables, OfOtherLevelsStoreNothingAndMakeTheNextLineASibling) {
    const auto record = read_text(entry_line(0, 1) + sub_line(5, 1) + sub_line(0, 2) + sub_line(0, 3));
    ASSERT_EQ(record.st_level0.size(), 2U);
    EXPECT_EQ(record.st_level0[0].parent, nullptr);
    EXPECT_EQ(record.st_level0[0].pre, nullptr);
    EXPECT_EQ(record.st_level0[1].pre, &record.st_level0[0]);
    EXPECT_EQ(record.pt_level0[0].sub_entries, nullptr);
}

TEST(SubTables, ContinueAnOlderRunOfTheirSequenceWhenTheLevelChangesInsideARun) {
    const auto record =
        read_text(entry_line(0, 1) + sub_line(0, 1) + entry_line(1, 2) + sub_line(1, 2) + sub_line(0, 3));
    EXPECT_EQ(record.st_level0[1].pre, &record.st_level0[0]);
    EXPECT_EQ(record.st_level0[0].next, &record.st_level0[1]);
}

TEST(SubTables, StartADumpWithoutOwner) {
    auto record = read_text(sub_line(0, 1) + sub_line(0, 2));
    ASSERT_EQ(record.st_level0.size(), 2U);
    EXPECT_EQ(record.st_level0[0].parent, nullptr);
    EXPECT_EQ(record.st_level0[1].pre, &record.st_level0[0]);
    generate_DigitalIndex(record);
    EXPECT_EQ(record.st_level0[1].DigitalIndex.parent_level, 0);
    EXPECT_EQ(record.st_level0[1].DigitalIndex.parent_index, 0);
}

TEST(DumpLines, AreIgnoredWhenTheyHoldNeitherKey) {
    const auto record = read_text("=====vm node info=====\nsize = 0x10\n\n: : :\n" + entry_line(0, 1) +
                                  "device_pid = 1\n" + sub_line(0, 1) + "x\n" + sub_line(0, 2));
    EXPECT_EQ(record.pt_level0.size(), 1U);
    EXPECT_EQ(record.st_level0[1].pre, &record.st_level0[0]);
}

TEST(DumpLines, AreEntryLinesWhenTheyHoldBothKeys) {
    const auto record = read_text("0:1: entry addr:0x10, Snoop \n");
    ASSERT_EQ(record.pt_level0.size(), 1U);
    EXPECT_TRUE(record.st_level0.empty());
    EXPECT_STREQ(record.pt_level0[0].Addr, "0x10, Snoop"); // the sub-table rule for addresses applies
}

TEST(DumpLines, AreCutIntoPiecesOfFiveHundredAndElevenCharacters) {
    // The second piece starts in front of "0:2: entry"; 511 characters are in the first.
    const std::string head = "0:1: entry addr:0x1, ";
    const std::string filler(511 - head.size(), '.');
    const auto record = read_text(head + filler + entry_line(0, 2));
    EXPECT_EQ(indexes(record.pt_level0), (std::vector{1, 2}));
}

TEST(DumpLines, OfFiveHundredAndElevenCharactersLeaveTheNewlineAsALineOfItsOwn) {
    for (const std::size_t length : {509U, 510U, 511U, 512U}) {
        const std::string head = "0:1: entry addr:0x1, ";
        const auto record = read_text(head + repeated(length - head.size(), '.') + "\n" + entry_line(0, 2));
        EXPECT_EQ(indexes(record.pt_level0), (std::vector{1, 2})) << length;
    }
}

TEST(DumpLines, CutInsideTheKeyAreNotSeen) {
    const auto record = read_text(repeated(511 - 7, ' ') + "0:1: entry addr:0x1, buffer:x\n" + entry_line(0, 2));
    EXPECT_EQ(indexes(record.pt_level0), std::vector{2});
}

TEST(DumpLines, EndAtAZeroByteAsFarAsTheirTextIsConcerned) {
    const auto record = read_text(std::string("0:1: entry addr:0x10\0, buffer:x\n", 32) +
                                  std::string("0:\0: entry\n", 11) + entry_line(0, 3));
    ASSERT_EQ(indexes(record.pt_level0), (std::vector{1, 3}));
    EXPECT_STREQ(record.pt_level0[0].Addr, "0x10");
    EXPECT_STREQ(record.pt_level0[0].Buffer, "");
}

TEST(DumpLines, NeedNoNewlineAtTheEndOfTheFile) {
    std::string text = entry_line(0, 1) + sub_line(0, 2);
    text.pop_back();
    const auto record = read_text(text);
    EXPECT_STREQ(record.st_level0.at(0).Addr, "0x3f00");
}

TEST(DumpLines, RaiseTheStandardErrorsForMalformedNumbers) {
    EXPECT_THROW(read_text("x:1: entry\n"), std::invalid_argument);
    EXPECT_THROW(read_text("0:x: entry\n"), std::invalid_argument);
    EXPECT_THROW(read_text("0:99999999999: entry\n"), std::out_of_range);
    EXPECT_THROW(read_text("0:1 Snoop: Segment:1 Addr:0\n"), std::invalid_argument);
    EXPECT_THROW(read_text("0:1 Snoop:1 Segment:99999999999 Addr:0\n"), std::out_of_range);
    EXPECT_THROW(read_text("0:1 Snoop:1 Segment:1 LargePage:x Addr:0\n"), std::invalid_argument);
    EXPECT_NO_THROW(read_text("entry without colon\n"));
}

TEST(DumpFile, GivesMinusOneWhenItCannotBeOpened) {
    VmKernel kernel;
    data_vectors record;
    std::string path = kDriver + "/devices/none/vm_info";
    EXPECT_EQ(get_pagetable_info(&record, path.data()), -1);
}

TEST(DumpFile, WithoutEntryLinesGivesEmptySequencesAndZero) {
    VmKernel kernel;
    kernel.file(kDriver + "/dump", "hello\nworld\n");
    data_vectors record = create_vector();
    std::string path = kDriver + "/dump";
    EXPECT_EQ(get_pagetable_info(&record, path.data()), 0);
    EXPECT_EQ(record.pt_level0.size() + record.pt_level1.size() + record.pt_level2.size(), 0U);
    EXPECT_EQ(record.st_level0.size() + record.st_level1.size() + record.st_level2.size(), 0U);
}

TEST(DumpFile, IsAppendedToWhatTheRecordHolds) {
    VmKernel kernel;
    kernel.file(kDriver + "/dump", entry_line(1, 2) + sub_line(0, 2));
    data_vectors record = read_text(entry_line(0, 1));
    std::string path = kDriver + "/dump";
    EXPECT_EQ(get_pagetable_info(&record, path.data()), 0);
    EXPECT_EQ(record.pt_level0.size(), 1U);
    EXPECT_TRUE(record.pt_level1.empty()); // the state starts anew with each dump
    EXPECT_EQ(record.st_level0.at(0).parent, &record.pt_level0[0]);
}

TEST(DumpFile, IsClosedWhenANumberErrorEndsTheReading) {
    VmKernel kernel;
    kernel.file(kDriver + "/dump", entry_line(0, 1) + "x:1: entry\n");
    std::string path = kDriver + "/dump";
    data_vectors record;
    const int before = open_descriptors();
    for (int i = 0; i < 20; ++i) {
        EXPECT_THROW(get_pagetable_info(&record, path.data()), std::invalid_argument);
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(record.pt_level0.size(), 20U);
}

TEST(OverLongField, EndsTheProcessWithOneLineOnStandardError) {
    const std::string longest(47, 'a');
    const std::string too_long(48, 'a');
    EXPECT_STREQ(read_text(entry_line(0, 1, longest, longest)).pt_level0[0].Addr, longest.c_str());
    EXPECT_STREQ(read_text(entry_line(0, 1, longest, longest)).pt_level0[0].Buffer, longest.c_str());
    EXPECT_STREQ(read_text(sub_line(0, 1, longest)).st_level0[0].Addr, longest.c_str());
    EXPECT_EXIT(read_text(entry_line(0, 1, too_long)), KilledBySignal(SIGABRT), "Addr of 48 characters");
    EXPECT_EXIT(read_text(entry_line(0, 1, "0x1", too_long)), KilledBySignal(SIGABRT), "Buffer of 48 characters");
    EXPECT_EXIT(read_text(sub_line(0, 1, too_long)), KilledBySignal(SIGABRT), "Addr of 48 characters");
    EXPECT_EXIT(read_text(sub_line(7, 1, too_long)), KilledBySignal(SIGABRT), "Addr of 48 characters");
    EXPECT_EXIT(read_text(entry_line(7, 1, too_long)), KilledBySignal(SIGABRT), "Addr of 48 characters");
}

TEST(OverLongField, EndsTheProcessAmongManyUsualLinesToo) {
    std::string text = entry_line(0, 1);
    for (int i = 0; i < 50; ++i) {
        text += sub_line(0, i);
    }
    const std::string too_long(48, 'a');
    EXPECT_EXIT(read_text(sub_line(0, 1, too_long) + text), KilledBySignal(SIGABRT), "Addr of 48 characters");
    EXPECT_EXIT(read_text(entry_line(0, 1, "0x1", too_long) + text), KilledBySignal(SIGABRT), "Buffer of 48");
}

TEST(Stamping, GivesEveryEntryOfARunTheOwnersLevelAndIndex) {
    auto record = read_text(entry_line(0, 3) + sub_line(0, 1) + sub_line(0, 2) + entry_line(1, 7) + sub_line(1, 3) +
                            entry_line(0, 4) + sub_line(0, 5) + sub_line(0, 6));
    generate_DigitalIndex(record);
    const std::vector<int> owners = {3, 3, 4, 4};
    for (std::size_t at = 0; at < 4; ++at) {
        EXPECT_EQ(record.st_level0[at].DigitalIndex.parent_level, 0);
        EXPECT_EQ(record.st_level0[at].DigitalIndex.parent_index, owners[at]);
    }
    EXPECT_EQ(record.st_level1[0].DigitalIndex.parent_level, 1);
    EXPECT_EQ(record.st_level1[0].DigitalIndex.parent_index, 7);
}

TEST(Stamping, OfOneEntryDoesNothingInsideARunAndStampsTheRunFromItsHead) {
    auto record = read_text(entry_line(0, 3) + sub_line(0, 1) + sub_line(0, 2));
    append_DigitalIndex(record.st_level0[1]);
    EXPECT_EQ(record.st_level0[1].DigitalIndex.parent_index, 0);
    append_DigitalIndex(record.st_level0[0]);
    EXPECT_EQ(record.st_level0[0].DigitalIndex.parent_index, 3);
    EXPECT_EQ(record.st_level0[1].DigitalIndex.parent_index, 3);
}

TEST(Stamping, FollowsTheLinksOfARunThatDoesNotLieInOnePiece) {
    vidmm_vm_pt owner = {};
    owner.PT_Level = 2;
    owner.PT_index = 9;
    data_vectors record;
    record.st_level1.resize(4);
    auto* entries = record.st_level1.data();
    entries[0].parent = &owner;
    entries[0].next = &entries[2];
    entries[2].pre = &entries[0];
    entries[2].next = &entries[3];
    entries[3].pre = &entries[2];
    generate_DigitalIndex(record);
    EXPECT_EQ(entries[0].DigitalIndex.parent_index, 9);
    EXPECT_EQ(entries[1].DigitalIndex.parent_index, 0);
    EXPECT_EQ(entries[2].DigitalIndex.parent_index, 9);
    EXPECT_EQ(entries[3].DigitalIndex.parent_level, 2);
}
