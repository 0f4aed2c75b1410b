// SPDX-License-Identifier: MIT
#include "observe/memory/allocations.hpp"

using ::testing::SizeIs;

TEST(DropRepeated, KeepsTheFirstOfEqualRecordsAndTheirOrder) {
    kt3::observe::Allocations records(4);
    records[0].handle = 3;
    records[1].handle = 1;
    records[2].handle = 3;
    records[3].handle = 3;
    records[3].pitch = 9;
    kt3::observe::drop_repeated(records);
    ASSERT_THAT(records, SizeIs(3));
    EXPECT_EQ(records[0].handle, 3);
    EXPECT_EQ(records[1].handle, 1);
    EXPECT_EQ(records[2].pitch, 9);
}
