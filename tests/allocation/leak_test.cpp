// SPDX-License-Identifier: MIT
#include "allocation/leak_groups.hpp"
#include "allocation/leak_matching.hpp"

#include "allocation/driver_tree.hpp"
#include "support/log_capture.hpp"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>

using namespace kt3::tests;
using namespace kt3::allocation;
using Record = _GFX_ALLOCATION_INFO;
using RecordList = std::vector<Record>;

namespace {

Record made(std::int32_t handle, std::int32_t width, std::int32_t size = 4096) {
    Record record = {};
    record.handle = handle;
    record.width = width;
    record.size = size;
    record.seen_count = 1;
    record.sum_count = 1;
    return record;
}

// The rules in their plainest form: nested searches and removals in the middle.
bool plain_same_shape(const Record& a, const Record& b) {
    return a.width == b.width && a.height == b.height && a.size == b.size && a.hw_format == b.hw_format &&
           a.at_type == b.at_type;
}

void plain_match(RecordList& current, RecordList& tracked) {
    if (tracked.empty()) {
        tracked.insert(tracked.end(), current.begin(), current.end());
        return;
    }
    for (std::size_t at = 0; at < tracked.size();) {
        const auto found = std::find_if(current.begin(), current.end(), [&](const Record& record) {
            return record.handle == tracked[at].handle && plain_same_shape(record, tracked[at]);
        });
        if (found == current.end()) {
            tracked.erase(tracked.begin() + static_cast<std::ptrdiff_t>(at));
            continue;
        }
        ++tracked[at].seen_count;
        current.erase(found);
        ++at;
    }
    tracked.insert(tracked.end(), current.begin(), current.end());
}

RecordList plain_groups(const RecordList& tracked) {
    RecordList groups;
    for (const Record& record : tracked) {
        const auto found = std::find_if(groups.begin(), groups.end(),
                                        [&](const Record& group) { return plain_same_shape(group, record); });
        if (found == groups.end()) {
            groups.push_back(record);
        } else {
            ++found->sum_count;
        }
    }
    std::sort(groups.begin(), groups.end(), compare_allo_sum);
    groups.resize(KT3_MEMLEAK_GROUPS);
    return groups;
}

RecordList fast_groups(const RecordList& tracked) {
    RecordList result(KT3_MEMLEAK_GROUPS, made(9, 9));
    write_largest_groups(tracked, LeakResult(result));
    return result;
}

bool equal(const RecordList& a, const RecordList& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(Record)) == 0);
}

// Few distinct values, so that identities, shapes and ties abound; `pitch` tells the copies apart.
RecordList random_records(std::mt19937& random, std::size_t count, unsigned variety) {
    RecordList records(count);
    std::int32_t number = 0;
    for (Record& record : records) {
        record = made(static_cast<std::int32_t>(random() % variety), static_cast<std::int32_t>(random() % variety));
        record.height = static_cast<std::int32_t>(random() % 2);
        record.hw_format = static_cast<std::int32_t>(random() % 2);
        record.at_type = static_cast<std::int32_t>(random() % 2);
        record.pitch = ++number;
    }
    return records;
}

std::vector<std::int32_t> handles(const RecordList& records) {
    std::vector<std::int32_t> all;
    for (const Record& record : records) {
        all.push_back(record.handle);
    }
    return all;
}

struct Look {
    RecordList result = RecordList(KT3_MEMLEAK_GROUPS, made(9, 9));
    std::int32_t returned = get_memleak_info(result.data());
};

} // namespace

TEST(LeakMatching, AgreesWithPlainNestedSearchesOnRandomListsFullOfDuplicates) {
    std::mt19937 random(11);
    for (int round = 0; round < 400; ++round) {
        const unsigned variety = 1 + random() % 6;
        RecordList plain_tracked;
        RecordList tracked;
        RecordList snapshot;
        for (int look = 0; look < 5; ++look) {
            switch (random() % 4) { // steady, shuffled, thinned out and added to, all new
            case 0:
                break;
            case 1:
                std::shuffle(snapshot.begin(), snapshot.end(), random);
                break;
            case 2: {
                std::erase_if(snapshot, [&](const Record&) { return random() % 5 == 0; });
                const RecordList more = random_records(random, random() % 10, variety);
                snapshot.insert(snapshot.end(), more.begin(), more.end());
                break;
            }
            default:
                snapshot = random_records(random, random() % 80, variety);
            }
            RecordList plain_current = snapshot;
            RecordList current = snapshot;
            plain_match(plain_current, plain_tracked);
            match_tracked(current, tracked);
            ASSERT_TRUE(equal(tracked, plain_tracked)) << round;
            ASSERT_TRUE(equal(current, plain_current)) << round;
            ASSERT_TRUE(equal(fast_groups(tracked), plain_groups(plain_tracked))) << round;
        }
    }
}

TEST(LeakMatching, AgreesWithPlainNestedSearchesOnLongerLists) {
    std::mt19937 random(12);
    RecordList plain_tracked = random_records(random, 1500, 40);
    RecordList tracked = plain_tracked;
    RecordList snapshot = tracked;
    std::shuffle(snapshot.begin(), snapshot.end(), random);
    snapshot.resize(1200);
    RecordList plain_snapshot = snapshot;
    plain_match(plain_snapshot, plain_tracked);
    compare_memleak_list(snapshot, tracked);
    EXPECT_TRUE(equal(tracked, plain_tracked));
    EXPECT_TRUE(equal(snapshot, plain_snapshot));
    EXPECT_TRUE(equal(fast_groups(tracked), plain_groups(plain_tracked)));
}

TEST(LeakMatching, TakesAllOfTheFirstSnapshotAndLeavesItAsItWas) {
    RecordList current = {made(1, 1), made(2, 2)};
    RecordList tracked;
    compare_memleak_list(current, tracked);
    EXPECT_THAT(handles(tracked), testing::ElementsAre(1, 2));
    EXPECT_EQ(tracked[0].seen_count, 1);
    EXPECT_EQ(current.size(), 2U);
}

TEST(LeakMatching, PutsSurvivorsFirstInTheirOldOrderAndNewOnesBehind) {
    RecordList tracked = {made(1, 1), made(2, 1), made(3, 1), made(4, 1)};
    RecordList current = {made(9, 1), made(4, 1), made(8, 1), made(1, 1), made(3, 1)};
    compare_memleak_list(current, tracked);
    EXPECT_THAT(handles(tracked), testing::ElementsAre(1, 3, 4, 9, 8));
    EXPECT_THAT(handles(current), testing::ElementsAre(9, 8));
    EXPECT_EQ(tracked[2].seen_count, 2);
    EXPECT_EQ(tracked[3].seen_count, 1);
}

TEST(LeakMatching, MatchesAllocationsOfOneIdentityOneToOne) {
    RecordList tracked = {made(1, 1), made(1, 1), made(1, 1)};
    RecordList current = {made(1, 1), made(1, 1)};
    compare_memleak_list(current, tracked);
    ASSERT_EQ(tracked.size(), 2U);
    EXPECT_EQ(tracked[0].seen_count, 2);
    EXPECT_EQ(tracked[1].seen_count, 2);
    EXPECT_TRUE(current.empty());
}

TEST(LeakMatching, GoesByHandleWidthHeightSizeFormatAndTypeAlone) {
    std::int32_t Record::*const identity[] = {&Record::handle, &Record::width,     &Record::height,
                                              &Record::size,   &Record::hw_format, &Record::at_type};
    for (std::size_t word = 0; word < sizeof(Record) / 4; ++word) {
        RecordList tracked = {made(1, 1)};
        RecordList current = tracked;
        reinterpret_cast<std::int32_t*>(current.data())[word] += 5;
        bool belongs = false;
        for (const auto member : identity) {
            belongs = belongs || current[0].*member != tracked[0].*member;
        }
        compare_memleak_list(current, tracked);
        EXPECT_EQ(tracked[0].seen_count, belongs ? 1 : 2) << word;
    }
}

TEST(LeakMatching, KeepsTheOldCopyOfASurvivor) {
    RecordList tracked = {made(1, 1)};
    RecordList current = tracked;
    current[0].pitch = 77;
    compare_memleak_list(current, tracked);
    EXPECT_EQ(tracked[0].pitch, 0);
}

TEST(LeakMatching, EmptiesTheListForAnEmptySnapshot) {
    RecordList tracked = {made(1, 1), made(2, 1)};
    RecordList current;
    compare_memleak_list(current, tracked);
    EXPECT_TRUE(tracked.empty());
}

TEST(LeakGroups, StandForTheFirstRecordOfTheirShape) {
    RecordList tracked = {made(5, 1), made(6, 2), made(7, 1), made(8, 1)};
    tracked[0].seen_count = 4;
    const RecordList result = fast_groups(tracked);
    EXPECT_EQ(result[0].handle, 5);
    EXPECT_EQ(result[0].sum_count, 3);
    EXPECT_EQ(result[0].seen_count, 4);
    EXPECT_EQ(result[1].handle, 6);
    EXPECT_EQ(result[1].sum_count, 1);
}

TEST(LeakGroups, AreFollowedByZeroRecords) {
    const RecordList result = fast_groups({made(5, 1)});
    const Record zero = {};
    for (std::size_t at = 1; at < result.size(); ++at) {
        EXPECT_EQ(std::memcmp(&result[at], &zero, sizeof zero), 0);
    }
    EXPECT_EQ(std::memcmp(&fast_groups({})[0], &zero, sizeof zero), 0);
}

TEST(LeakGroups, AreCutToTheFifteenLargest) {
    RecordList tracked;
    for (std::int32_t width = 1; width <= 40; ++width) {
        tracked.insert(tracked.end(), static_cast<std::size_t>(width), made(0, width));
    }
    const RecordList result = fast_groups(tracked);
    for (std::int32_t at = 0; at < 15; ++at) {
        EXPECT_EQ(result[static_cast<std::size_t>(at)].sum_count, 40 - at);
    }
}

TEST(LeakGroups, LeaveTiesInTheOrderOfTheStandardSort) {
    for (const std::int32_t shapes : {14, 15, 16, 17, 18, 100, 3000}) {
        RecordList tracked;
        for (std::int32_t at = 0; at < shapes; ++at) {
            tracked.push_back(made(at, at));
        }
        tracked.push_back(made(99, shapes / 2));
        EXPECT_TRUE(equal(fast_groups(tracked), plain_groups(tracked))) << shapes;
    }
}

TEST(LeakGroups, OrderLargerCountsFirst) {
    Record few = made(1, 1);
    Record many = made(1, 1);
    few.sum_count = -1;
    many.sum_count = 3;
    EXPECT_TRUE(compare_allo_sum(many, few));
    EXPECT_FALSE(compare_allo_sum(few, many));
    EXPECT_FALSE(compare_allo_sum(few, few));
}

TEST(LeakTracker, AnswersTheFirstLookWithTheLargestGroups) {
    DriverTree driver;
    for (const char* name : {"1", "2", "3"}) {
        driver.allocation(name, "handle=" + std::string(name) + "\nwidth=64\n");
    }
    driver.allocation("4", "handle=4\nwidth=65\n");
    const Look look;
    EXPECT_EQ(look.returned, 0);
    EXPECT_EQ(look.result[0].sum_count, 3);
    EXPECT_EQ(look.result[0].seen_count, 1);
    EXPECT_EQ(look.result[1].sum_count, 1);
    EXPECT_EQ(look.result[1].width, 65);
    EXPECT_EQ(look.result[2].sum_count, 0);
    EXPECT_EQ(vec_memleak_result.size(), 4U);
}

TEST(LeakTracker, CountsTheLooksThatSawAnAllocationInARow) {
    DriverTree driver;
    driver.allocation("1", "handle=1\n").allocation("2", "handle=2\n");
    const Look first;
    const auto order = handles(vec_memleak_result);
    const Look second;
    EXPECT_EQ(handles(vec_memleak_result), order);
    EXPECT_EQ(vec_memleak_result[0].seen_count, 2);
    EXPECT_EQ(vec_memleak_result[1].seen_count, 2);
    EXPECT_EQ(second.result[0].seen_count, 2);
    EXPECT_EQ(second.result[0].sum_count, 2);
}

TEST(LeakTracker, ForgetsAnAllocationThatMissedOneLook) {
    DriverTree driver;
    driver.allocation("1", "handle=1\n").allocation("2", "handle=2\n");
    Look();
    driver.kernel.remove(DriverTree::path("allocations/1"));
    Look();
    EXPECT_THAT(handles(vec_memleak_result), testing::ElementsAre(2));
    driver.allocation("1", "handle=1\n");
    Look();
    EXPECT_THAT(handles(vec_memleak_result), testing::ElementsAre(2, 1));
    EXPECT_EQ(vec_memleak_result[0].seen_count, 3);
    EXPECT_EQ(vec_memleak_result[1].seen_count, 1);
}

TEST(LeakTracker, TakesAChangedSizeForANewAllocation) {
    DriverTree driver;
    driver.allocation("1", "handle=1\nsize=10\npitch=1\n");
    Look();
    driver.allocation("1", "handle=1\nsize=10\npitch=2\n");
    Look();
    EXPECT_EQ(vec_memleak_result.at(0).seen_count, 2);
    driver.allocation("1", "handle=1\nsize=11\npitch=2\n");
    Look();
    EXPECT_EQ(vec_memleak_result.at(0).seen_count, 1);
    EXPECT_EQ(vec_memleak_result.at(0).size, 11);
}

TEST(LeakTracker, IsEmptyAfterALookThatSawNothing) {
    DriverTree driver;
    driver.allocation("1", "handle=1\n");
    Look();
    driver.kernel.remove(DriverTree::path("allocations/1"));
    const Look look;
    EXPECT_TRUE(vec_memleak_result.empty());
    EXPECT_EQ(look.result[0].sum_count, 0);
}

TEST(LeakTracker, ChangesNothingWhenTheSnapshotFails) {
    DriverTree driver;
    driver.allocation("1", "handle=1\n");
    Look();
    driver.kernel.directory(DriverTree::path("allocations/2"));
    OutputCapture output;
    const Look look;
    EXPECT_EQ(look.returned, 0);
    EXPECT_EQ(look.result[0].handle, 9);
    EXPECT_EQ(vec_memleak_result.at(0).seen_count, 1);
}

TEST(LeakTracker, PassesAMalformedNumberOnAndKeepsItsList) {
    DriverTree driver;
    driver.allocation("1", "handle=1\n");
    Look();
    driver.allocation("2", "handle=zz\n");
    EXPECT_THROW(Look(), std::invalid_argument);
    ASSERT_EQ(vec_memleak_result.size(), 1U);
    EXPECT_EQ(vec_memleak_result[0].seen_count, 1);
}

TEST(LeakTracker, DoesNotFollowANullResult) {
    DriverTree driver;
    EXPECT_EQ(get_memleak_info(nullptr), 0);
    EXPECT_TRUE(vec_memleak_result.empty());
}
