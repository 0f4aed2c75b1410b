// SPDX-License-Identifier: MIT
#include "support/descriptors.hpp"
#include "support/failing_listings.hpp"
#include "support/log_capture.hpp"
#include "support/standing_clock.hpp"
#include "vmdump/client_walk.hpp"
#include "vmdump/dump_text.hpp"
#include "vmdump/vm_kernel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

using namespace kt3::tests;
using testing::Each;
using testing::StrEq;

namespace {

std::vector<std::string> ids(const std::vector<data_vectors>& list) {
    std::vector<std::string> all;
    for (const data_vectors& record : list) {
        all.emplace_back(record.pid);
    }
    return all;
}

} // namespace

TEST(ClientWalk, GivesMinusOneAndPrintsNothingWithoutADevicesDirectory) {
    VmKernel kernel;
    kernel.remove(kDriver + "/devices");
    std::vector<data_vectors> list;
    OutputCapture output;
    EXPECT_EQ(get_PageTable_data(list), -1);
    EXPECT_EQ(get_PageTable_data_try(list), -1);
    EXPECT_EQ(output.text(), "");
    EXPECT_TRUE(list.empty());
}

TEST(ClientWalk, FindsNothingInAnEmptyDirectoryAndSkipsTheDriversOwnContexts) {
    VmKernel kernel;
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), 0);
    kernel.directory(kDriver + "/devices/00000000").directory(kDriver + "/devices/02000000");
    EXPECT_EQ(get_PageTable_data(list), 0);
    EXPECT_TRUE(list.empty());
}

TEST(ClientWalk, ComparesWholeNamesWhenItSkips) {
    VmKernel kernel;
    kernel.client("000000000", "11", "a", entry_line(0, 1));
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), 0);
    EXPECT_EQ(ids(list), std::vector<std::string>{"11"});
}

TEST(ClientWalk, AppendsOneStampedRecordPerClientInDirectoryOrder) {
    VmKernel kernel;
    for (const char* entry : {"0a000000", "03000000", "07000000", "01000000"}) {
        kernel.client(entry, std::string("1") + entry[1], std::string("app") + entry[1],
                      entry_line(0, 3) + sub_line(0, 1) + sub_line(0, 2));
    }
    std::vector<data_vectors> list(1);
    EXPECT_EQ(get_PageTable_data(list), 0);
    ASSERT_EQ(list.size(), 5U); // the list is not emptied
    const std::vector<std::string> order = listed_clients();
    std::string asked;
    for (std::size_t at = 0; at < 4; ++at) {
        const data_vectors& record = list[at + 1];
        EXPECT_EQ(record.pid, std::string("1") + order[at][1]);
        EXPECT_EQ(record.app_name, std::string("app") + order[at][1]);
        EXPECT_EQ(record.st_level0.at(1).DigitalIndex.parent_index, 3);
        EXPECT_EQ(record.st_level0[0].parent, &record.pt_level0[0]);
        asked += "ps -p " + std::string(record.pid) + " -o comm=\n";
    }
    EXPECT_EQ(kernel.asked(), asked);
}

TEST(ClientWalk, DropsAClientOfTheProcessZeroAfterReadingIt) {
    VmKernel kernel;
    kernel.client("01000000", "0", "never asked", entry_line(0, 1));
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), 0);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(kernel.asked(), "");
    kernel.remove(kernel.client_file("01000000", "vm_info"));
    EXPECT_EQ(get_PageTable_data(list), -1); // it is read fully before it is dropped
}

TEST(ClientWalk, DropsAProcessNamedZero) {
    VmKernel kernel;
    kernel.client("01000000", "5", "0", entry_line(0, 1));
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), 0);
    EXPECT_TRUE(list.empty());
}

TEST(ClientWalk, KeepsAClientWithoutPidLineUnderAnEmptyId) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", entry_line(0, 1));
    kernel.file(kernel.client_file("01000000", "info"), "name = x\n");
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), 0);
    EXPECT_EQ(ids(list), std::vector<std::string>{""});
}

TEST(ClientWalk, DoesNotHandTheIdOfOneClientToTheNext) {
    VmKernel kernel;
    for (const char* entry : {"01000000", "03000000", "04000000"}) {
        kernel.client(entry, "5", "a", entry_line(0, 1));
    }
    kernel.file(kernel.client_file(listed_clients()[1], "info"), "name = x\n");
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), 0);
    EXPECT_EQ(ids(list), (std::vector<std::string>{"5", "", "5"}));
}

TEST(ClientWalk, SaysWhenAnInfoFileCannotBeOpenedAndStillReadsTheRest) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", entry_line(0, 1));
    kernel.remove(kernel.client_file("01000000", "info"));
    std::vector<data_vectors> list;
    OutputCapture output;
    EXPECT_EQ(get_PageTable_data(list), -1);
    EXPECT_EQ(output.text(), "Fail to read pid info. skip...\n");
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(kernel.asked(), "ps -p -o comm=\n");
}

TEST(ClientWalk, TakesEveryOtherEntryForAClientDirectory) {
    VmKernel kernel;
    kernel.file(kDriver + "/devices/README", "text");
    std::vector<data_vectors> list;
    OutputCapture output;
    EXPECT_EQ(get_PageTable_data(list), -1);
    EXPECT_EQ(output.text(), "Fail to read pid info. skip...\n");
}

TEST(ClientWalk, TakesAListingThatFailsForADirectoryThatCannotBeOpened) {
    VmKernel kernel;
    const std::string real = kernel.real(kDriver).string();
    EXPECT_TRUE(holds_while_listings_fail([&] {
        std::vector<data_vectors> list;
        OutputCapture output;
        return !kt3::vmdump::walk_clients(real.c_str(), list) && output.text().empty();
    }));
}

TEST(ClientWalk, KeepsWhatItAppendedBeforeAFailure) {
    VmKernel kernel;
    for (const char* entry : {"01000000", "03000000", "04000000"}) {
        kernel.client(entry, "5", "a", entry_line(0, 1));
    }
    kernel.remove(kernel.client_file(listed_clients()[2], "vm_info"));
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), -1);
    EXPECT_EQ(list.size(), 2U);
}

TEST(ClientWalk, IsTriedTenTimesAndAppendsTheGoodClientsEachTime) {
    VmKernel kernel;
    for (const char* entry : {"01000000", "03000000", "04000000"}) {
        kernel.client(entry, "5", "a", entry_line(0, 1));
    }
    kernel.remove(kernel.client_file(listed_clients()[2], "vm_info"));
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data_try(list), -1);
    EXPECT_EQ(list.size(), 20U);
}

TEST(ClientWalk, WaitsAMillisecondBehindEveryFailedTryAndBehindNoGoodOne) {
    VmKernel kernel;
    std::vector<data_vectors> clients;
    std::vector<allcation_Info> nodes;
    const auto time_of = [](auto call, int expected) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(call(), expected);
        return std::chrono::steady_clock::now() - start;
    };
    const auto walk = [&] { return get_PageTable_data_try(clients); };
    const auto walk_nodes = [&] { return get_alloction_data(nodes); };
    // The best of several: a busy machine can only make a call longer.
    auto good = std::chrono::steady_clock::duration::max();
    for (int i = 0; i < 20; ++i) {
        good = std::min({good, time_of(walk, 0), time_of(walk_nodes, 0)});
    }
    EXPECT_LT(good, std::chrono::milliseconds(1));
    kernel.remove(kDriver + "/devices").remove(kDriver + "/allocations");
    EXPECT_GE(time_of(walk, -1), std::chrono::milliseconds(10));
    EXPECT_GE(time_of(walk_nodes, -1), std::chrono::milliseconds(10));
}

// The standing clock interrupts every pause three times.
TEST(ClientWalk, WaitsNoShorterUnderTheSignalsOfAClientsTimer) {
    VmKernel kernel;
    kernel.remove(kDriver + "/devices").remove(kDriver + "/allocations");
    std::vector<data_vectors> clients;
    std::vector<allcation_Info> nodes;
    StandingClock clock;
    const long start = clock.now();
    EXPECT_EQ(get_PageTable_data_try(clients), -1);
    EXPECT_EQ(get_alloction_data(nodes), -1);
    EXPECT_EQ(clock.pauses, std::vector<long>(20, 1000));
    EXPECT_EQ(clock.now() - start, 20'000'000);
}

TEST(ClientWalk, HoldsDuplicatesWhenAClientVanishesBetweenTwoTries) {
    VmKernel kernel;
    for (const char* entry : {"01000000", "03000000", "04000000"}) {
        kernel.client(entry, "5", "a", entry_line(0, 1));
    }
    const std::string last = listed_clients()[2];
    kernel.remove(kernel.client_file(last, "info"));
    // The driver takes the client's directory away while ps answers for it.
    kernel.file("/bin/ps", "#!/bin/sh\n[ \"$2\" = -o ] && rm -r " + kernel.real(kDriver + "/devices/" + last).string() +
                               "\necho a\n");
    std::vector<data_vectors> list;
    OutputCapture output;
    EXPECT_EQ(get_PageTable_data_try(list), 0);
    EXPECT_EQ(output.text(), "Fail to read pid info. skip...\n");
    EXPECT_EQ(list.size(), 4U);
    EXPECT_EQ(Calculate_Pagetable_Size(list), 4U);
}

TEST(ClientWalk, LetsNumberErrorsThroughAndLeavesNoDescriptor) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", entry_line(0, 1) + "x:1: entry\n");
    std::vector<data_vectors> list;
    const int before = open_descriptors();
    for (int i = 0; i < 10; ++i) {
        EXPECT_THROW(get_PageTable_data(list), std::invalid_argument);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(ClientWalk, LeavesNothingOfALongerNameInTheRecordOfTheNextClient) {
    VmKernel kernel;
    for (const char* entry : {"01000000", "02100000"}) {
        kernel.client(entry, "123456", "a-long-name", entry_line(0, 1));
    }
    kernel.client(listed_clients()[1], "5", "a", entry_line(0, 1));
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), 0);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(std::string(list[1].pid, sizeof list[1].pid), "5" + std::string(47, '\0'));
    EXPECT_EQ(std::string(list[1].app_name, sizeof list[1].app_name), "a" + std::string(47, '\0'));
}

namespace {

std::string dump_of(int sub_entries) {
    std::string dump = entry_line(0, 1) + entry_line(1, 2) + entry_line(2, 3);
    for (int i = 0; i < sub_entries; ++i) {
        dump += sub_line(2, i);
    }
    return dump;
}

std::size_t entries_reserved(const data_vectors& record) {
    return record.pt_level0.capacity() + record.pt_level1.capacity() + record.pt_level2.capacity() +
           record.st_level0.capacity() + record.st_level1.capacity() + record.st_level2.capacity();
}

} // namespace

TEST(ClientWalk, ReservesLittleMoreThanWhatTheClientsFill) {
    VmKernel kernel;
    for (const int rows : {10, 2'500, 3'000, 2'600, 100, 9'000}) {
        kernel.client("0" + std::to_string(rows), "5", "a", dump_of(rows));
    }
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), 0);
    ASSERT_EQ(list.size(), 6U);
    for (const data_vectors& record : list) {
        EXPECT_LE(entries_reserved(record), 2 * record.st_level2.size() + 10);
    }
}

TEST(ClientWalk, KeepsTheLinksOfAClientThatIsLargerThanTheOneBefore) {
    VmKernel kernel;
    for (const int rows : {2'500, 9'000, 200'000}) {
        kernel.client("0" + std::to_string(rows), "5", "a", dump_of(rows));
    }
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), 0);
    ASSERT_EQ(list.size(), 3U);
    for (data_vectors& record : list) {
        EXPECT_EQ(record.pt_level2[0].sub_entries, &record.st_level2[0]);
        EXPECT_EQ(record.st_level2[0].parent, &record.pt_level2[0]);
        for (std::size_t at = 1; at < record.st_level2.size(); ++at) {
            ASSERT_EQ(record.st_level2[at].pre, &record.st_level2[at - 1]);
            ASSERT_EQ(record.st_level2[at].DigitalIndex.parent_index, 3);
        }
    }
}

TEST(ClientWalk, HandsLargeRecordsOverWithTheirLinks) {
    VmKernel kernel;
    std::string dump = entry_line(0, 1) + entry_line(1, 2) + entry_line(2, 3);
    for (int i = 0; i < 5'000; ++i) {
        dump += sub_line(2, i);
    }
    for (const char* entry : {"01000000", "03000000", "04000000"}) {
        kernel.client(entry, "5", "a", dump);
    }
    kernel.file(kernel.client_file(listed_clients()[1], "vm_info"), entry_line(0, 9) + sub_line(0, 8));
    std::vector<data_vectors> list;
    EXPECT_EQ(get_PageTable_data(list), 0);
    ASSERT_EQ(list.size(), 3U);
    for (const std::size_t at : {0U, 2U}) {
        ASSERT_EQ(list[at].st_level2.size(), 5'000U);
        EXPECT_EQ(list[at].pt_level2[0].sub_entries, &list[at].st_level2[0]);
        EXPECT_EQ(list[at].st_level2[0].parent, &list[at].pt_level2[0]);
        EXPECT_EQ(list[at].st_level2[4'999].DigitalIndex.parent_index, 3);
    }
    EXPECT_EQ(list[1].pt_level0.size(), 1U);
    EXPECT_EQ(list[1].st_level0[0].parent, &list[1].pt_level0[0]);
}
