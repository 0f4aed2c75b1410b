// SPDX-License-Identifier: MIT
#include "allocation/raw_list.hpp"

#include "allocation/driver_tree.hpp"
#include "support/descriptors.hpp"
#include "support/log_capture.hpp"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <random>
#include <stdexcept>

using namespace kt3::tests;
using namespace kt3::allocation;

namespace {

bool memory_is_short = false;

} // namespace

// The block of the raw list is the one thing the library asks for in this form.
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return memory_is_short ? nullptr : std::malloc(bytes);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
void* operator new[](std::size_t bytes) {
    void* block = std::malloc(bytes);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

namespace {

constexpr const char* kInvalid = "get_allocation_raw_list_internal, invalid trasfer_cnt !!!\n";

struct Slice {
    _GFX_ALLOCATION_RAW_LIST list;
    std::int32_t result = 99;

    explicit Slice(std::int32_t number) {
        std::memset(&list, 0x5A, sizeof list);
        list.trasfer_cnt = number;
        find_adapter adapters = {};
        adapters.current_index = 1;
        adapters.IS_VA_driver[1] = 1;
        result = get_allocation_raw_list(&list, &adapters);
    }
    [[nodiscard]] std::vector<std::int32_t> counts() const {
        return {list.total_cnt, list.cur_cnt, list.has_more, result};
    }
};

void hold(std::size_t count) {
    hold_sorted(std::vector<_GFX_ALLOCATION_INFO>(count));
}

using Counts = std::vector<std::int32_t>;

} // namespace

TEST(RawList, IsEmptyBeforeTheFirstSliceWasAskedFor) {
    OutputCapture output;
    EXPECT_EQ(Slice(1).counts(), (Counts{0, 0, 0, 0}));
    EXPECT_EQ(output.text(), kInvalid);
}

TEST(RawList, HandsOutFortyFiveRecordsInThreeSlices) {
    DriverTree driver;
    for (int at = 0; at < 45; ++at) {
        driver.allocation(std::to_string(at), at % 4, 0, at);
    }
    EXPECT_EQ(Slice(0).counts(), (Counts{45, 20, 1, 0}));
    EXPECT_EQ(Slice(1).counts(), (Counts{45, 20, 1, 0}));
    EXPECT_EQ(Slice(2).counts(), (Counts{45, 5, 0, 0}));
    std::vector<std::int32_t> sizes;
    std::int32_t last_device = 0;
    for (std::int32_t number = 0; number < 3; ++number) {
        const Slice slice(number);
        for (std::int32_t at = 0; at < slice.list.cur_cnt; ++at) {
            EXPECT_LE(last_device, slice.list.list[at].device);
            last_device = slice.list.list[at].device;
            sizes.push_back(slice.list.list[at].size);
        }
    }
    std::sort(sizes.begin(), sizes.end());
    for (std::int32_t at = 0; at < 45; ++at) {
        EXPECT_EQ(sizes[static_cast<std::size_t>(at)], at);
    }
}

TEST(RawList, SaysThatASlicePastTheEndIsInvalid) {
    hold(45);
    for (const std::int32_t number : {3, 4, 1000, INT32_MAX}) {
        OutputCapture output;
        const Slice slice(number);
        EXPECT_EQ(output.text(), kInvalid);
        EXPECT_EQ(slice.counts(), (Counts{45, 0, 0, 0}));
    }
}

TEST(RawList, ReportsNoMoreWhenExactlyTwentyRecordsRemain) {
    hold(40);
    OutputCapture output;
    EXPECT_EQ(Slice(1).counts(), (Counts{40, 20, 0, 0}));
    EXPECT_EQ(Slice(2).counts(), (Counts{40, 0, 0, 0})); // one slice past the end is no error
    EXPECT_EQ(output.text(), "");
}

TEST(RawList, ReportsMoreWhenOneRecordRemainsBehindTheSlice) {
    hold(21);
    EXPECT_EQ(Slice(1).counts(), (Counts{21, 1, 0, 0}));
    DriverTree driver;
    for (int at = 0; at < 21; ++at) {
        driver.allocation(std::to_string(at), 1, 0, at);
    }
    EXPECT_EQ(Slice(0).counts(), (Counts{21, 20, 1, 0}));
}

TEST(RawList, WritesOnlyTheRecordsOfTheSlice) {
    hold(23);
    const Slice slice(1);
    EXPECT_EQ(slice.list.list[2].handle, 0);
    EXPECT_EQ(slice.list.list[3].handle, 0x5A5A5A5A);
    EXPECT_EQ(slice.list.trasfer_cnt, 1);
}

TEST(RawList, AnswersAnEmptyTreeWithNothing) {
    DriverTree driver;
    OutputCapture output;
    EXPECT_EQ(Slice(0).counts(), (Counts{0, 0, 0, 0}));
    EXPECT_EQ(output.text(), "");
}

TEST(RawList, HasNoSlicesOfNegativeNumber) {
    hold(45);
    OutputCapture output;
    for (const std::int32_t number : {-1, -2, -107374183, INT32_MIN}) {
        EXPECT_EQ(Slice(number).counts(), (Counts{45, 0, 0, 0})) << number;
    }
    EXPECT_EQ(output.text(), "");
}

TEST(RawList, KeepsOneSnapshotAcrossItsSlices) {
    DriverTree driver;
    for (int at = 0; at < 25; ++at) {
        driver.allocation(std::to_string(at), 1, 0, at);
    }
    EXPECT_EQ(Slice(0).counts(), (Counts{25, 20, 1, 0}));
    driver.kernel.remove(DriverTree::path("allocations")).directory(DriverTree::path("allocations"));
    EXPECT_EQ(Slice(1).counts(), (Counts{25, 5, 0, 0}));
    EXPECT_EQ(Slice(0).counts(), (Counts{0, 0, 0, 0}));
}

TEST(RawList, ChangesNothingWhenTheSnapshotFails) {
    DriverTree driver;
    hold(30);
    driver.kernel.directory(DriverTree::path("allocations/gone"));
    OutputCapture output;
    EXPECT_EQ(Slice(0).counts(), (Counts{0x5A5A5A5A, 0x5A5A5A5A, 0x5A5A5A5A, -1}));
    EXPECT_EQ(Slice(1).counts(), (Counts{30, 10, 0, 0}));
}

TEST(RawList, TakesTheVaFlagOfTheRecordsCurrentSlot) {
    DriverTree driver;
    driver.allocation("1", "device=10\n");
    find_adapter adapters = {};
    adapters.IS_VA_driver[2] = 1;
    _GFX_ALLOCATION_RAW_LIST list = {};
    EXPECT_EQ(get_allocation_raw_list_internal(&list, &adapters), 0);
    EXPECT_EQ(list.list[0].device, 16);
    adapters.current_index = 2;
    EXPECT_EQ(get_allocation_raw_list_internal(&list, &adapters), 0);
    EXPECT_EQ(list.list[0].device, 10);
}

TEST(RawList, DoesNotFollowNullPointersOrReadOutsideTheSlots) {
    DriverTree driver;
    driver.allocation("1", "device=10\n");
    find_adapter adapters = {};
    _GFX_ALLOCATION_RAW_LIST list = {};
    EXPECT_EQ(get_allocation_raw_list(nullptr, &adapters), -1);
    EXPECT_EQ(get_allocation_raw_list(&list, nullptr), -1);
    for (const std::int32_t index : {-1, 3, 1000}) {
        adapters.current_index = index;
        EXPECT_EQ(get_allocation_raw_list(&list, &adapters), -1);
    }
    list.trasfer_cnt = 1;
    EXPECT_EQ(get_allocation_raw_list(&list, nullptr), 0); // later slices need no adapter
}

TEST(RawList, PassesAMalformedNumberOnAndKeepsWhatItHeld) {
    DriverTree driver;
    hold(30);
    driver.allocation("1", "handle=zz\n");
    const int before = open_descriptors();
    EXPECT_THROW(Slice(0), std::invalid_argument);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(Slice(1).counts(), (Counts{30, 10, 0, 0}));
}

TEST(RawList, SaysThatThereIsNoMemoryAndHoldsNoRecordsThen) {
    DriverTree driver;
    hold(30);
    for (int at = 0; at < 25; ++at) {
        driver.allocation(std::to_string(at), 1, 0, at);
    }
    OutputCapture output;
    memory_is_short = true;
    const Slice failed(0);
    memory_is_short = false;
    EXPECT_EQ(output.text(), "allocate memory for global_allocation_raw_list fail.\n");
    EXPECT_EQ(failed.counts(), (Counts{0x5A5A5A5A, 0x5A5A5A5A, 0x5A5A5A5A, -1}));
    EXPECT_EQ(Slice(1).counts(), (Counts{25, 0, 0, 0}));
    EXPECT_EQ(Slice(0).counts(), (Counts{25, 20, 1, 0}));
}

TEST(RawList, LeavesRecordsOfOneDeviceInTheOrderOfTheStandardSort) {
    std::mt19937 random(5);
    for (const std::size_t count : {0U, 1U, 15U, 16U, 17U, 40U, 400U, 5000U}) {
        for (const unsigned devices : {1U, 3U, 50U, 100000U}) {
            std::vector<_GFX_ALLOCATION_INFO> records(count);
            for (std::size_t at = 0; at < count; ++at) {
                records[at].device = static_cast<std::int32_t>(random() % devices) - 1;
                records[at].handle = static_cast<std::int32_t>(at);
            }
            ASSERT_TRUE(hold_sorted(records));
            std::sort(records.begin(), records.end(), compare_allo_device);
            for (std::size_t at = 20; at < count; ++at) { // slice 0 would take a snapshot
                _GFX_ALLOCATION_RAW_LIST list = {};
                list.trasfer_cnt = static_cast<std::int32_t>(at / 20);
                copy_slice(list);
                ASSERT_EQ(std::memcmp(&list.list[at % 20], &records[at], sizeof records[at]), 0) << at;
            }
        }
    }
}

TEST(RawList, OrdersDevicesAsSignedNumbers) {
    _GFX_ALLOCATION_INFO low = {};
    _GFX_ALLOCATION_INFO high = {};
    low.device = -2;
    high.device = 1;
    EXPECT_TRUE(compare_allo_device(low, high));
    EXPECT_FALSE(compare_allo_device(high, low));
    EXPECT_FALSE(compare_allo_device(low, low));
}
