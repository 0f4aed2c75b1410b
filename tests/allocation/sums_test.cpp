// SPDX-License-Identifier: MIT
#include "allocation/sums.hpp"

#include "allocation/driver_tree.hpp"
#include "support/descriptors.hpp"
#include "support/log_capture.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace kt3::tests;
using namespace kt3::allocation;
using testing::ElementsAre;

namespace {

_GFX_ALLOCATION_INFO record(std::int32_t device, std::int32_t segment, std::int32_t size) {
    _GFX_ALLOCATION_INFO made = {};
    made.device = device;
    made.segmentid = segment;
    made.size = size;
    return made;
}

std::vector<std::uint32_t> totals_of(const std::vector<_GFX_ALLOCATION_INFO>& records) {
    std::vector<std::uint32_t> totals(KT3_SEGMENT_SLOTS, 77);
    total_by_segment(records, SegmentTotals(totals));
    return totals;
}

struct Plain {
    _GFX_DEVICE_ALLOCATION_SUMMARY entry[ALLOCATION_SUMMARY_MAX] = {};
    explicit Plain(const std::vector<_GFX_ALLOCATION_INFO>& records) { sum_by_device(records, Summary(entry)); }
};
struct Wide {
    _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 entry[ALLOCATION_SUMMARY_MAX] = {};
    explicit Wide(const std::vector<_GFX_ALLOCATION_INFO>& records) { sum_by_device(records, SummaryExt1(entry)); }
};

constexpr std::int32_t kMib = 1 << 20;

} // namespace

TEST(SegmentTotals, AreZeroWithoutRecords) {
    EXPECT_THAT(totals_of({}), ElementsAre(0, 0, 0, 0, 0));
}

TEST(SegmentTotals, AreMibRoundedDown) {
    EXPECT_THAT(totals_of({record(1, 0, 1048576), record(1, 0, 524288)}), ElementsAre(1, 0, 0, 0, 0));
    EXPECT_THAT(totals_of({record(1, 0, 1048575)}), ElementsAre(0, 0, 0, 0, 0));
}

TEST(SegmentTotals, CountEverySegmentFromTheFifthOnTogether) {
    EXPECT_THAT(
        totals_of({record(1, 0, kMib), record(1, 1, 2 * kMib), record(1, 2, 3 * kMib), record(1, 3, 4 * kMib),
                   record(1, 4, 5 * kMib), record(1, 5, 6 * kMib), record(1, 9, 7 * kMib), record(1, INT32_MAX, kMib)}),
        ElementsAre(1, 2, 3, 4, 19));
}

TEST(SegmentTotals, LeaveInvalidSegmentsOutWithoutAWord) {
    OutputCapture output;
    EXPECT_THAT(totals_of({record(1, -1, kMib), record(1, INT32_MIN, kMib)}), ElementsAre(0, 0, 0, 0, 0));
    EXPECT_EQ(output.text(), "");
}

TEST(SegmentTotals, LoseSmallSizesOnceTheSumIsLargeAsSinglePrecisionDoes) {
    std::vector<_GFX_ALLOCATION_INFO> records = {record(1, 0, 1 << 30), record(1, 0, 1 << 30)};
    records.insert(records.end(), 40000, record(1, 0, 100)); // 100 bytes are less than half a step of 2 GiB
    EXPECT_THAT(totals_of(records), ElementsAre(2048, 0, 0, 0, 0));
}

TEST(SegmentTotals, GoOnPastFourGibibytesAndBelowZero) {
    const std::vector<_GFX_ALLOCATION_INFO> large(8, record(1, 2, 1 << 30));
    EXPECT_THAT(totals_of(large), ElementsAre(0, 0, 8192, 0, 0));
    EXPECT_THAT(totals_of({record(1, 1, -3 * kMib)}), ElementsAre(0, 0xFFFFFFFD, 0, 0, 0));
    EXPECT_THAT(totals_of({record(1, 1, -kMib / 2)}), ElementsAre(0, 0, 0, 0, 0));
}

TEST(SegmentTotals, ComeFromAFreshSnapshot) {
    DriverTree driver;
    driver.allocation("1", 1, 0, 3 * kMib);
    unsigned int totals[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(get_segment_info_through_allocation(totals, 0, 1), 0);
    EXPECT_THAT(totals, ElementsAre(3, 0, 0, 0, 0, 9));
    driver.allocation("2", 1, 0, 2 * kMib);
    EXPECT_EQ(get_segment_info_through_allocation(totals, 0, 1), 0);
    EXPECT_EQ(totals[0], 5U);
}

TEST(SegmentTotals, AreZeroedWhenTheSnapshotFails) {
    DriverTree driver;
    driver.allocation("1", 1, 0, 3 * kMib).kernel.directory(DriverTree::path("allocations/2"));
    unsigned int totals[6] = {9, 9, 9, 9, 9, 9};
    OutputCapture output;
    EXPECT_EQ(get_segment_info_through_allocation(totals, 0, 1), -1);
    EXPECT_THAT(totals, ElementsAre(0, 0, 0, 0, 0, 9));
}

TEST(DeviceSums, OpenEntriesInTheOrderInWhichDevicesAppear) {
    const Plain sums({record(9, 0, 1), record(3, 1, 2), record(9, 1, 4), record(-5, 2, 8)});
    EXPECT_EQ(sums.entry[0].device, 9);
    EXPECT_THAT(sums.entry[0].segment_size, ElementsAre(1, 4, 0, 0, 0));
    EXPECT_EQ(sums.entry[1].device, 3);
    EXPECT_THAT(sums.entry[1].segment_size, ElementsAre(0, 2, 0, 0, 0));
    EXPECT_EQ(sums.entry[2].device, -5);
    EXPECT_THAT(sums.entry[2].segment_size, ElementsAre(0, 0, 8, 0, 0));
}

TEST(DeviceSums, AddEverySegmentFromTheFifthOnToTheLastSlot) {
    const Wide sums({record(1, 4, 1), record(1, 5, 2), record(1, 9, 4)});
    EXPECT_THAT(sums.entry[0].segment_size, ElementsAre(0, 0, 0, 0, 7));
}

TEST(DeviceSums, SayAndLeaveOutRecordsOfAnInvalidSegment) {
    OutputCapture output;
    const Plain sums({record(1, -1, 100), record(1, 0, 5)});
    EXPECT_EQ(output.text(), "invalid segmentid !!! \n");
    EXPECT_EQ(sums.entry[0].device, 1);
    EXPECT_THAT(sums.entry[0].segment_size, ElementsAre(5, 0, 0, 0, 0));
}

TEST(DeviceSums, UseFortyNineEntriesAndSayEveryRecordOfAFurtherDevice) {
    std::vector<_GFX_ALLOCATION_INFO> records;
    for (std::int32_t round = 0; round < 2; ++round) {
        for (std::int32_t device = 1; device <= 60; ++device) {
            records.push_back(record(device, 0, 1));
        }
    }
    OutputCapture output;
    const Plain sums(records);
    EXPECT_EQ(occurrences(output.text(), "exceed ALLOCATION_SUMMARY_MAX !!! \n"), 22U);
    EXPECT_EQ(sums.entry[48].device, 49);
    EXPECT_EQ(sums.entry[48].segment_size[0], 2U);
    EXPECT_EQ(sums.entry[49].device, 0);
    EXPECT_THAT(sums.entry[49].segment_size, ElementsAre(0, 0, 0, 0, 0));
}

TEST(DeviceSums, SayNothingForExactlyFortyNineDevices) {
    std::vector<_GFX_ALLOCATION_INFO> records;
    for (std::int32_t device = 1; device <= 49; ++device) {
        records.push_back(record(device, 0, 1));
    }
    OutputCapture output;
    const Wide sums(records);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(sums.entry[48].device, 49);
}

TEST(DeviceSums, SayBothThingsOfARecordWithoutAnEntryAndWithoutASegment) {
    std::vector<_GFX_ALLOCATION_INFO> records;
    for (std::int32_t device = 1; device <= 49; ++device) {
        records.push_back(record(device, 0, 1));
    }
    records.push_back(record(50, -1, 1));
    OutputCapture output;
    const Plain sums(records);
    EXPECT_EQ(output.text(), "exceed ALLOCATION_SUMMARY_MAX !!! \ninvalid segmentid !!! \n");
}

TEST(DeviceSums, CountTheDeviceZeroLikeAnyOther) {
    const Plain sums({record(0, 0, 1), record(2, 0, 2), record(0, 0, 4)});
    EXPECT_EQ(sums.entry[0].segment_size[0], 5U);
    EXPECT_EQ(sums.entry[1].segment_size[0], 2U);
}

TEST(DeviceSums, WrapInThePlainRecordAndNotInTheExtendedOne) {
    const std::vector<_GFX_ALLOCATION_INFO> records(5, record(1, 3, 1 << 30));
    EXPECT_EQ(Plain(records).entry[0].segment_size[3], 1U << 30);
    EXPECT_EQ(Wide(records).entry[0].segment_size[3], 5ULL << 30);
}

TEST(DeviceSums, WidenNegativeSizesWithTheirSign) {
    const std::vector<_GFX_ALLOCATION_INFO> records = {record(1, 0, 10), record(1, 0, -4), record(2, 0, -1)};
    EXPECT_EQ(Plain(records).entry[0].segment_size[0], 6U);
    EXPECT_EQ(Wide(records).entry[0].segment_size[0], 6U);
    EXPECT_EQ(Plain(records).entry[1].segment_size[0], 0xFFFFFFFFU);
    EXPECT_EQ(Wide(records).entry[1].segment_size[0], 0xFFFFFFFFFFFFFFFFULL);
}

TEST(DeviceSummary, ReadsTheTreeIntoBothRecords) {
    DriverTree driver;
    driver.allocation("1", 7, 0, 100).allocation("2", 7, 6, 50);
    _GFX_DEVICE_ALLOCATION_SUMMARY plain[50];
    _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 wide[50];
    std::memset(plain, 0x5A, sizeof plain);
    std::memset(wide, 0x5A, sizeof wide);
    EXPECT_EQ(get_device_allocation_summary_internal(plain, 0, 1), 0);
    EXPECT_EQ(get_device_allocation_summary_internal_ext1(wide, 0, 1), 0);
    EXPECT_EQ(plain[0].device, 7);
    EXPECT_THAT(plain[0].segment_size, ElementsAre(100, 0, 0, 0, 50));
    EXPECT_EQ(wide[0].device, 7);
    EXPECT_EQ(wide[0].reserved_4, 0U);
    EXPECT_THAT(wide[0].segment_size, ElementsAre(100, 0, 0, 0, 50));
    EXPECT_EQ(plain[1].device, 0);
    EXPECT_EQ(wide[49].segment_size[4], 0U);
}

TEST(DeviceSummary, IsAllZeroForNoRecordsAndForAFailedSnapshot) {
    DriverTree driver;
    _GFX_DEVICE_ALLOCATION_SUMMARY plain[50];
    const _GFX_DEVICE_ALLOCATION_SUMMARY zero[50] = {};
    std::memset(plain, 0x5A, sizeof plain);
    EXPECT_EQ(get_device_allocation_summary(plain), 0);
    EXPECT_EQ(std::memcmp(plain, zero, sizeof zero), 0);

    driver.allocation("1", 7, 0, 100).kernel.directory(DriverTree::path("allocations/2"));
    std::memset(plain, 0x5A, sizeof plain);
    OutputCapture output;
    EXPECT_EQ(get_device_allocation_summary_internal(plain, 0, 1), -1);
    EXPECT_EQ(std::memcmp(plain, zero, sizeof zero), 0);
}

TEST(DeviceSummary, IsZeroAlsoWhenAMalformedNumberEndsTheReading) {
    DriverTree driver;
    driver.allocation("1", "handle=zz\n");
    const int before = open_descriptors();
    _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 wide[50];
    const _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 zero[50] = {};
    std::memset(wide, 0x5A, sizeof wide);
    EXPECT_THROW(get_device_allocation_summary_ext1(wide), std::invalid_argument);
    EXPECT_EQ(std::memcmp(wide, zero, sizeof zero), 0);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(DeviceSummary, DoesNotFollowANullRecord) {
    DriverTree driver;
    EXPECT_EQ(get_device_allocation_summary(nullptr), -1);
    EXPECT_EQ(get_device_allocation_summary_ext1(nullptr), -1);
    EXPECT_EQ(get_segment_info_through_allocation(nullptr, 0, 1), -1);
}
