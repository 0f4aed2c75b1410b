// SPDX-License-Identifier: MIT
#include "allocation/snapshot.hpp"

#include "allocation/driver_tree.hpp"
#include "support/descriptors.hpp"
#include "support/failing_listings.hpp"
#include "support/log_capture.hpp"
#include "support/standing_clock.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace kt3::tests;
using Records = std::vector<_GFX_ALLOCATION_INFO>;

namespace {

std::vector<std::int32_t> widths(const Records& records) {
    std::vector<std::int32_t> all;
    for (const auto& record : records) {
        all.push_back(record.width);
    }
    return all;
}

constexpr const char* kSkipped = "Fail to read allocation info. skip...\n";

} // namespace

TEST(Snapshot, AppendsNothingForAnEmptyDirectory) {
    DriverTree driver;
    Records records;
    EXPECT_EQ(get_current_allocation_data(records, 0x5C05, 1), 0);
    EXPECT_TRUE(records.empty());
}

TEST(Snapshot, AppendsOneRecordPerEntryInTheOrderOfTheListing) {
    DriverTree driver;
    for (int at = 1; at <= 30; ++at) {
        driver.allocation(std::to_string(at * 7919 % 1000), "width=" + std::to_string(at * 7919 % 1000) + "\n");
    }
    std::vector<std::int32_t> expected;
    for (const std::string& name : driver.listing("allocations")) {
        expected.push_back(std::stoi(name));
    }
    Records records;
    EXPECT_EQ(get_current_allocation_data_try(records, 0, 1), 0);
    EXPECT_EQ(widths(records), expected);
}

TEST(Snapshot, KeepsWhatTheClientsListHeldBefore) {
    DriverTree driver;
    driver.allocation("1", "width=5\n");
    Records records(2);
    records[1].width = 4;
    EXPECT_EQ(get_current_allocation_data(records, 0, 1), 0);
    EXPECT_THAT(widths(records), testing::ElementsAre(0, 4, 5));
}

TEST(Snapshot, ReadsTheDeviceByTheVaFlag) {
    DriverTree driver;
    driver.allocation("1", "device=10\n");
    Records decimal;
    Records hexadecimal;
    get_current_allocation_data(decimal, 0, 1);
    get_current_allocation_data(hexadecimal, 0, 0);
    EXPECT_EQ(decimal.at(0).device, 10);
    EXPECT_EQ(hexadecimal.at(0).device, 16);
}

TEST(Snapshot, TakesNamesThatBeginWithADotForAllocations) {
    DriverTree driver;
    driver.allocation(".hidden", "width=1\n").allocation("...", "width=1\n").allocation("..x", "width=1\n");
    Records records;
    EXPECT_EQ(get_current_allocation_data_try(records, 0, 1), 0);
    EXPECT_EQ(records.size(), 3U);
}

TEST(Snapshot, SaysOnceThatTheDirectoryIsMissing) {
    DriverTree driver;
    driver.kernel.remove(DriverTree::path("allocations"));
    Records records;
    OutputCapture output;
    EXPECT_EQ(get_current_allocation_data_try(records, 0, 1), -1);
    EXPECT_EQ(output.text(), "Error opening directory\n");
}

TEST(Snapshot, TriesTenTimesToOpenAMissingDirectory) {
    DriverTree driver;
    driver.kernel.remove(DriverTree::path("allocations"));
    Records records;
    LogCapture log;
    OutputCapture output;
    EXPECT_EQ(get_current_allocation_data(records, 0, 1), -1);
    EXPECT_EQ(occurrences(output.text(), "Error opening directory\n"), 10U);
    EXPECT_TRUE(LogCapture::lines().empty());
}

TEST(Snapshot, PausesFiveMillisecondsAfterEveryFailedTryTheTenthIncluded) {
    DriverTree driver;
    driver.kernel.remove(DriverTree::path("allocations"));
    StandingClock clock;
    Records records;
    OutputCapture output;
    EXPECT_EQ(get_current_allocation_data(records, 0, 1), -1);
    EXPECT_EQ(clock.pauses, std::vector<long>(10, 5000));
}

// The standing clock interrupts every pause three times.
TEST(Snapshot, PausesNoShorterUnderTheSignalsOfAClientsTimer) {
    DriverTree driver;
    driver.kernel.remove(DriverTree::path("allocations"));
    StandingClock clock;
    const long start = clock.now();
    Records records;
    OutputCapture output;
    EXPECT_EQ(get_current_allocation_data(records, 0, 1), -1);
    EXPECT_EQ(clock.now() - start, 50'000'000);
}

TEST(Snapshot, TakesAListingThatFailsForADirectoryThatCannotBeOpened) {
    DriverTree driver;
    driver.allocation("1", "width=1\n");
    const std::string real = driver.kernel.real(DriverTree::kDirectory).string();
    EXPECT_TRUE(holds_while_listings_fail([&] {
        Records records;
        OutputCapture output;
        return !kt3::allocation::walk_allocations({real.c_str(), true}, records) &&
               output.text() == "Error opening directory\n";
    }));
}

TEST(Snapshot, StopsAtTheFirstTryThatSucceedsAndKeepsWhatTheFailedOnesRead) {
    DriverTree driver;
    driver.allocation("1", "width=1\n").allocation("2", "width=2\n").allocation("3", "width=3\n");
    const std::string last = driver.listing("allocations")[2];
    driver.kernel.remove(DriverTree::path("allocations/" + last + "/info"));
    StandingClock clock;
    clock.during_pause = [&] {
        if (clock.pauses.size() == 2) {
            driver.allocation(last, "width=" + last + "\n");
        }
    };
    Records records;
    OutputCapture output;
    EXPECT_EQ(get_current_allocation_data(records, 0, 1), 0);
    EXPECT_EQ(clock.pauses.size(), 2U);
    EXPECT_EQ(occurrences(output.text(), kSkipped), 2U);
    EXPECT_EQ(records.size(), 2U + 2U + 3U);
}

TEST(Snapshot, TakesNoPauseWhenTheFirstTrySucceeds) {
    DriverTree driver;
    StandingClock clock;
    Records records;
    EXPECT_EQ(get_current_allocation_data(records, 0, 1), 0);
    EXPECT_TRUE(clock.pauses.empty());
}

TEST(Snapshot, AbandonsTheWalkAtAnEntryWithoutAPage) {
    DriverTree driver;
    for (const char* name : {"1", "2", "3"}) {
        driver.allocation(name, "width=1\n");
    }
    driver.kernel.remove(DriverTree::path("allocations/" + driver.listing("allocations")[1] + "/info"));
    Records records;
    OutputCapture output;
    EXPECT_EQ(get_current_allocation_data_try(records, 0, 1), -1);
    EXPECT_EQ(output.text(), kSkipped);
    EXPECT_EQ(records.size(), 1U);
}

TEST(Snapshot, HoldsTheRecordsBeforeAMissingPageTenTimesOver) {
    DriverTree driver;
    for (const char* name : {"1", "2", "3"}) {
        driver.allocation(name, "width=" + std::string(name) + "\n");
    }
    const auto listed = driver.listing("allocations");
    driver.kernel.remove(DriverTree::path("allocations/" + listed[2] + "/info"));
    Records records;
    OutputCapture output;
    EXPECT_EQ(get_current_allocation_data(records, 0, 1), -1);
    EXPECT_EQ(occurrences(output.text(), kSkipped), 10U);
    ASSERT_EQ(records.size(), 20U);
    for (std::size_t at = 0; at < records.size(); ++at) {
        EXPECT_EQ(records[at].width, std::stoi(listed[at % 2]));
    }
}

TEST(Snapshot, TreatsAPlainFileAmongTheEntriesAsAnAllocationThatCannotBeRead) {
    DriverTree driver;
    driver.kernel.file(DriverTree::path("allocations/stray"), "width=1\n");
    Records records;
    OutputCapture output;
    EXPECT_EQ(get_current_allocation_data_try(records, 0, 1), -1);
    EXPECT_EQ(output.text(), kSkipped);
}

TEST(Snapshot, ReadsAnEmptyPageAsARecordOfZeros) {
    DriverTree driver;
    driver.allocation("1", "");
    Records records;
    EXPECT_EQ(get_current_allocation_data_try(records, 0, 1), 0);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].handle, 0);
    EXPECT_EQ(records[0].sum_count, 1);
}

TEST(Snapshot, ReadsPagesOfAnyLengthWhole) {
    for (const std::size_t filler : {4080U, 4086U, 4087U, 4088U, 8192U, 1U << 20}) {
        DriverTree driver;
        driver.allocation("1", std::string(filler, 'x') + "\nwidth=12\n").allocation("2", "height=3\n");
        Records records;
        ASSERT_EQ(get_current_allocation_data_try(records, 0, 1), 0);
        ASSERT_EQ(records.size(), 2U);
        EXPECT_EQ(records[0].width + records[1].width, 12) << filler;
        EXPECT_EQ(records[0].height + records[1].height, 3) << filler;
    }
}

namespace {

// Five allocations of which the third in the listing has the given handle.
void spoil_third_of_five(DriverTree& driver, const std::string& handle) {
    for (const char* name : {"1", "2", "3", "4", "5"}) {
        driver.allocation(name, "handle=1f\n");
    }
    driver.allocation(driver.listing("allocations")[2], "handle=" + handle + "\n");
}

} // namespace

TEST(Snapshot, PassesAnInvalidHandleOnAndLeavesNothingOpen) {
    DriverTree driver;
    spoil_third_of_five(driver, "zz");
    const int before = open_descriptors();
    Records records;
    try {
        get_current_allocation_data(records, 0, 1);
        FAIL() << "nothing thrown";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "stoi");
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(records.size(), 2U); // no retry was made
}

TEST(Snapshot, PassesAHandleOutOfRangeOnAndLeavesNothingOpen) {
    DriverTree driver;
    spoil_third_of_five(driver, "80000000");
    const int before = open_descriptors();
    Records records;
    try {
        get_current_allocation_data_try(records, 0, 1);
        FAIL() << "nothing thrown";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "stoi");
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Snapshot, HoldsNoMoreDescriptorsAfterAThousandFailures) {
    DriverTree driver;
    driver.allocation("1", "width=1\n").kernel.directory(DriverTree::path("allocations/2"));
    OutputCapture output;
    const int before = open_descriptors();
    for (int round = 0; round < 1000; ++round) {
        Records records;
        ASSERT_EQ(get_current_allocation_data_try(records, 0, 1), -1);
    }
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(occurrences(output.text(), kSkipped), 1000U);
}

// The simulated machine lists its entries in natural order; a file system has an order of its own.
TEST(Snapshot, FollowsTheOrderOfTheFileSystem) {
    DriverTree driver;
    for (int at = 1; at <= 200; ++at) {
        driver.allocation(std::to_string(at * 7919 % 1000), "width=" + std::to_string(at * 7919 % 1000) + "\n");
    }
    const std::string real = driver.kernel.real(DriverTree::kDirectory).string();
    Records records;
    EXPECT_TRUE(kt3::allocation::walk_allocations({real.c_str(), true}, records));
    std::vector<std::int32_t> expected;
    for (const std::string& name : DriverTree::entries_of(real + "/allocations")) {
        expected.push_back(std::stoi(name));
    }
    EXPECT_EQ(widths(records), expected);
}
