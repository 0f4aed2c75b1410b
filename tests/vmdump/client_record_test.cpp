// SPDX-License-Identifier: MIT
#include "support/descriptors.hpp"
#include "vmdump/client_record.hpp"
#include "vmdump/dump_text.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <new>
#include <sys/resource.h>
#include <type_traits>

using namespace kt3::tests;

static_assert(std::is_nothrow_move_constructible_v<data_vectors>);
static_assert(std::is_nothrow_move_assignable_v<data_vectors>);
static_assert(std::is_copy_constructible_v<data_vectors>);

namespace {

template<typename Entry>
bool lies_in(const Entry* link, const std::vector<Entry>& entries) {
    return link == nullptr || (link >= entries.data() && link < entries.data() + entries.size());
}

// Every link is null or leads to an entry of the record itself, and neighbours agree with each other.
template<typename Entry>
void expect_sound_chain(const std::vector<Entry>& entries) {
    std::size_t unsound = 0;
    for (const Entry& entry : entries) {
        unsound += lies_in(entry.next, entries) && lies_in(entry.pre, entries) ? 0 : 1;
        unsound += entry.next == nullptr || entry.next->pre == &entry ? 0 : 1;
        unsound += entry.pre == nullptr || entry.pre->next == &entry ? 0 : 1;
    }
    EXPECT_EQ(unsound, 0U);
}

void expect_sound(const data_vectors& record) {
    expect_sound_chain(record.pt_level0);
    expect_sound_chain(record.pt_level1);
    expect_sound_chain(record.pt_level2);
    expect_sound_chain(record.st_level0);
    expect_sound_chain(record.st_level1);
    expect_sound_chain(record.st_level2);
    std::size_t unsound = 0;
    const auto check_level = [&](const auto& tables, const auto& subs, const auto* above, const auto* below) {
        for (const auto& entry : tables) {
            unsound += lies_in(entry.sub_entries, subs) ? 0 : 1;
            unsound += above == nullptr ? (entry.parent != nullptr) : !lies_in(entry.parent, *above);
            unsound += below == nullptr ? (entry.entries != nullptr) : !lies_in(entry.entries, *below);
        }
        for (const auto& entry : subs) {
            unsound += lies_in(entry.parent, tables) ? 0 : 1;
        }
    };
    const std::vector<vidmm_vm_pt>* none = nullptr;
    check_level(record.pt_level0, record.st_level0, none, &record.pt_level1);
    check_level(record.pt_level1, record.st_level1, &record.pt_level0, &record.pt_level2);
    check_level(record.pt_level2, record.st_level2, &record.pt_level1, none);
    EXPECT_EQ(unsound, 0U);
}

std::string three_levels() {
    return entry_line(0, 1) + sub_line(0, 10) + sub_line(0, 11) + entry_line(1, 2) + entry_line(1, 3) +
           sub_line(1, 12) + entry_line(2, 4) + entry_line(2, 5) + sub_line(2, 13) + sub_line(2, 14);
}

void expect_three_levels(const data_vectors& record) {
    EXPECT_EQ(record.pt_level0[0].entries, &record.pt_level1[0]);
    EXPECT_EQ(record.pt_level0[0].sub_entries, &record.st_level0[0]);
    EXPECT_EQ(record.pt_level1[0].parent, &record.pt_level0[0]);
    EXPECT_EQ(record.pt_level1[1].pre, &record.pt_level1[0]);
    EXPECT_EQ(record.pt_level1[1].entries, &record.pt_level2[0]);
    EXPECT_EQ(record.pt_level2[0].parent, &record.pt_level1[1]);
    EXPECT_EQ(record.pt_level2[0].next, &record.pt_level2[1]);
    EXPECT_EQ(record.st_level0[0].parent, &record.pt_level0[0]);
    EXPECT_EQ(record.st_level0[0].next, &record.st_level0[1]);
    EXPECT_EQ(record.st_level2[0].parent, &record.pt_level2[1]);
    EXPECT_EQ(record.st_level2[1].pre, &record.st_level2[0]);
    expect_sound(record);
}

std::size_t resident_pages() {
    std::ifstream file("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    return resident;
}

} // namespace

TEST(CreateVector, GivesAnEmptyRecordWithTheReservedRoom) {
    const data_vectors record = create_vector();
    EXPECT_STREQ(record.pid, "");
    EXPECT_STREQ(record.app_name, "");
    EXPECT_TRUE(record.text.empty());
    EXPECT_EQ(record.pt_level0.capacity(), 100U);
    EXPECT_EQ(record.pt_level1.capacity(), 1'000U);
    EXPECT_EQ(record.pt_level2.capacity(), 20'000U);
    EXPECT_EQ(record.st_level0.capacity(), 100U);
    EXPECT_EQ(record.st_level1.capacity(), 20'000U);
    EXPECT_EQ(record.st_level2.capacity(), 300'000U);
    EXPECT_TRUE(record.pt_level0.empty());
    EXPECT_TRUE(record.st_level2.empty());
}

TEST(CreateVector, TouchesLittleOfTheRoomItReserves) {
    const std::size_t before = resident_pages();
    const data_vectors record = create_vector();
    EXPECT_LT(resident_pages() - before, 4'000U); // of 9 000 pages reserved
    EXPECT_EQ(record.st_level2.capacity(), 300'000U);
}

TEST(CreateVector, RaisesAnErrorUnderAnAddressSpaceLimitAndLeavesNothingBehind) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer needs the whole address space";
#else
    rlimit old = {};
    ASSERT_EQ(::getrlimit(RLIMIT_AS, &old), 0);
    std::ifstream file("/proc/self/statm");
    std::size_t pages = 0;
    file >> pages;
    const rlimit narrow = {pages * 4096 + (16U << 20), old.rlim_max};
    const int before = open_descriptors();
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &narrow), 0);
    int errors = 0;
    for (int i = 0; i < 100; ++i) { // a leak of even the smaller reserves would use up the limit
        try {
            create_vector();
        } catch (const std::bad_alloc&) {
            ++errors;
        }
    }
    std::size_t still_free = 0;
    {
        const std::vector<char> room(8U << 20);
        still_free = room.size();
    }
    ::setrlimit(RLIMIT_AS, &old);
    EXPECT_EQ(errors, 100);
    EXPECT_EQ(still_free, 8U << 20);
    EXPECT_EQ(open_descriptors(), before);
#endif
}

TEST(CleanVector, EmptiesTheSequencesAndTouchesNothingElse) {
    data_vectors record = create_vector();
    read_text(three_levels(), record);
    std::strcpy(record.pid, "12");
    std::strcpy(record.app_name, "app");
    record.text = "kept";
    clean_vector(&record);
    EXPECT_TRUE(record.pt_level0.empty() && record.pt_level1.empty() && record.pt_level2.empty());
    EXPECT_TRUE(record.st_level0.empty() && record.st_level1.empty() && record.st_level2.empty());
    EXPECT_EQ(record.st_level2.capacity(), 300'000U);
    EXPECT_STREQ(record.pid, "12");
    EXPECT_STREQ(record.app_name, "app");
    EXPECT_EQ(record.text, "kept");
}

TEST(Links, OfACopyPointIntoTheCopy) {
    data_vectors record = read_text(three_levels());
    std::strcpy(record.pid, "12");
    record.text = "kept";
    const data_vectors copy = record;
    record = data_vectors();
    EXPECT_STREQ(copy.pid, "12");
    EXPECT_EQ(copy.text, "kept");
    expect_three_levels(copy);
}

TEST(Links, OfAnAssignedCopyPointIntoTheCopy) {
    data_vectors copy = read_text(entry_line(0, 9));
    {
        const data_vectors record = read_text(three_levels());
        copy = record;
    }
    expect_three_levels(copy);
    const data_vectors& itself = copy;
    copy = itself;
    expect_three_levels(copy);
}

TEST(Links, GoOverWithAMove) {
    data_vectors record = read_text(three_levels());
    data_vectors moved = std::move(record);
    expect_three_levels(moved);
    data_vectors assigned;
    assigned = std::move(moved);
    expect_three_levels(assigned);
}

TEST(Links, StayRightWhenAListOfRecordsGrows) {
    std::vector<data_vectors> list;
    for (int i = 0; i < 20; ++i) {
        list.push_back(read_text(three_levels()));
    }
    for (const data_vectors& record : list) {
        expect_three_levels(record);
    }
}

TEST(Links, ToEntriesOutsideTheRecordAreLeftAloneByACopy) {
    vidmm_vm_pt outside = {};
    data_vectors record = read_text(entry_line(0, 1) + sub_line(0, 1));
    record.st_level0[0].parent = &outside;
    const data_vectors copy = record;
    EXPECT_EQ(copy.st_level0[0].parent, &outside);
    EXPECT_EQ(copy.pt_level0[0].sub_entries, &copy.st_level0[0]);
}

TEST(Growth, BeyondTheReservedPageTablesKeepsEveryLink) {
    struct Row {
        int level;
        int count;
    };
    for (const Row row : {Row{0, 101}, Row{1, 1'001}, Row{2, 20'001}}) {
        data_vectors record = create_vector();
        std::string text = entry_line(0, 0) + sub_line(0, 0) + entry_line(1, 0) + sub_line(1, 0) + entry_line(2, 0);
        for (int i = 1; i < row.count; ++i) {
            text += entry_line(row.level, i) + sub_line(row.level, i);
        }
        read_text(text, record);
        const auto& grown = kt3::vmdump::page_tables(record, row.level);
        ASSERT_EQ(grown.size(), static_cast<std::size_t>(row.count));
        EXPECT_GT(grown.capacity(), static_cast<std::size_t>(row.count) - 1);
        expect_sound(record);
        EXPECT_EQ(record.pt_level0[0].entries, &record.pt_level1[0]);
        EXPECT_EQ(record.pt_level1[0].parent, &record.pt_level0[0]);
        EXPECT_EQ(record.pt_level1[0].entries, &record.pt_level2[0]);
        EXPECT_EQ(grown.back().sub_entries, &kt3::vmdump::sub_tables(record, row.level).back());
        generate_DigitalIndex(record);
        for (const auto& entry : kt3::vmdump::sub_tables(record, row.level)) {
            ASSERT_EQ(entry.DigitalIndex.parent_index, entry.Index);
        }
    }
}

TEST(Growth, BeyondTheReservedSubTablesKeepsEveryLink) {
    struct Row {
        int level;
        int count;
    };
    for (const Row row : {Row{0, 101}, Row{1, 20'001}, Row{2, 300'001}}) {
        data_vectors record = create_vector();
        std::string text = entry_line(0, 5) + entry_line(1, 6) + entry_line(2, 7);
        for (int i = 0; i < row.count; ++i) {
            text += sub_line(row.level, i);
        }
        read_text(text, record);
        const auto& grown = kt3::vmdump::sub_tables(record, row.level);
        ASSERT_EQ(grown.size(), static_cast<std::size_t>(row.count));
        expect_sound(record);
        EXPECT_EQ(grown[0].parent, &kt3::vmdump::page_tables(record, row.level)[0]);
        EXPECT_EQ(grown.back().pre, &grown.back() - 1);
        generate_DigitalIndex(record);
        for (const auto& entry : grown) {
            ASSERT_EQ(entry.DigitalIndex.parent_level, row.level);
            ASSERT_EQ(entry.DigitalIndex.parent_index, 5 + row.level);
        }
    }
}
