// SPDX-License-Identifier: MIT
#include "support/descriptors.hpp"
#include "support/log_capture.hpp"
#include "vmdump/dump_text.hpp"
#include "vmdump/rows.hpp"
#include "vmdump/vm_kernel.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

using namespace kt3::tests;

namespace {

constexpr char kNoSnapshot[] = "\nThe function is being tested on this Chip......\n";

_PAGETABLE_DATA untouched_row() {
    _PAGETABLE_DATA row;
    std::memset(&row, 0xA5, sizeof row);
    return row;
}

bool untouched(const _PAGETABLE_DATA& row, std::size_t first, std::size_t last) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&row);
    for (std::size_t at = first; at < last; ++at) {
        if (bytes[at] != 0xA5) {
            return false;
        }
    }
    return true;
}

data_vectors record_of(const std::string& pid, const std::string& dump) {
    data_vectors record = read_text(dump);
    std::strcpy(record.pid, pid.c_str());
    generate_DigitalIndex(record);
    return record;
}

std::uint32_t snapshot() {
    std::uint32_t count = 777;
    EXPECT_EQ(get_pagetable_data(nullptr, &count), 0);
    return count;
}

} // namespace

TEST(Rows, OfAPageTableEntryLeaveTheSubTableFieldsAlone) {
    std::vector<data_vectors> list = {record_of("12", entry_line(0, 3, "0x1a20"))};
    _PAGETABLE_DATA row = untouched_row();
    Fill_Value_to_PagetableData(list, &row);
    EXPECT_EQ(row.pid, 12);
    EXPECT_EQ(row.addr, 0x1a20);
    EXPECT_EQ(row.level, 0);
    EXPECT_EQ(row.index, 3);
    EXPECT_EQ(row.type, 1);
    EXPECT_TRUE(untouched(row, 16, 24));
    EXPECT_TRUE(untouched(row, 32, 40));
    EXPECT_TRUE(untouched(row, 44, 48));
}

TEST(Rows, OfASubTableEntryHoldEveryField) {
    std::vector<data_vectors> list = {
        record_of("12", entry_line(1, 0) + entry_line(1, 6) + sub_line(1, 9, "7fffffff"))};
    _PAGETABLE_DATA rows[2] = {untouched_row(), untouched_row()};
    Fill_Value_to_PagetableData(list, rows);
    const _PAGETABLE_DATA& row = rows[1];
    EXPECT_EQ(row.pid, 12);
    EXPECT_EQ(row.addr, 0x7fffffff);
    EXPECT_EQ(row.snoop, 1);
    EXPECT_EQ(row.segment, 2);
    EXPECT_EQ(row.large_page, 3);
    EXPECT_EQ(row.level, 1);
    EXPECT_EQ(row.index, 9);
    EXPECT_EQ(row.parent_level, 1);
    EXPECT_EQ(row.parent_index, 6);
    EXPECT_EQ(row.type, -1);
    EXPECT_TRUE(untouched(row, 22, 24));
    EXPECT_TRUE(untouched(row, 44, 48));
}

TEST(Rows, ComeClientByClientPageTablesFirst) {
    const std::string dump = entry_line(0, 1) + sub_line(0, 2) + entry_line(1, 3) + sub_line(1, 4) + entry_line(2, 5) +
                             sub_line(2, 6) + entry_line(1, 7);
    std::vector<data_vectors> list = {record_of("1", dump), record_of("2", entry_line(0, 8))};
    ASSERT_EQ(Calculate_Pagetable_Size(list), 8U);
    _PAGETABLE_DATA rows[8] = {};
    Fill_Value_to_PagetableData(list, rows);
    const int indexes[] = {1, 3, 7, 5, 2, 4, 6, 8};
    for (int at = 0; at < 8; ++at) {
        EXPECT_EQ(rows[at].index, indexes[at]);
        EXPECT_EQ(rows[at].pid, at < 7 ? 1 : 2);
        EXPECT_EQ(rows[at].type, at < 4 || at == 7 ? 1 : -1);
    }
}

TEST(Rows, ReadAddressesAsSignedHexadecimalNumbers) {
    struct Row {
        const char* text;
        std::int64_t value;
    };
    for (const Row row : {Row{"0x10", 16}, Row{"10", 16}, Row{"0X1F", 31}, Row{"-1", -1}, Row{" 0x2 ", 2},
                          Row{"12zz", 0x12}, Row{"0x", 0}, Row{"-0x80000000", INT32_MIN}}) {
        std::vector<vidmm_vm_pte_elt3k> entries(1);
        std::strcpy(entries[0].Addr, row.text);
        _PAGETABLE_DATA made = {};
        int next = 0;
        Fill_Value_to_subTable(&made, entries, &next, -5);
        EXPECT_EQ(made.addr, row.value) << row.text;
        EXPECT_EQ(made.pid, -5);
        EXPECT_EQ(next, 1);
    }
}

TEST(Rows, StopAtAnAddressThatIsNoSignedNumber) {
    for (const char* address : {"0x80000000", "ffffffffff", "123456789012345678901234567890"}) {
        std::vector<vidmm_vm_pt> entries(2);
        std::strcpy(entries[0].Addr, "1");
        std::strcpy(entries[1].Addr, address);
        _PAGETABLE_DATA rows[2] = {untouched_row(), untouched_row()};
        int next = 0;
        try {
            Fill_Value_to_ptTable(rows, entries, &next, 4);
            FAIL() << address;
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "stoi");
        }
        EXPECT_EQ(next, 1);
        EXPECT_EQ(rows[0].addr, 1);
        EXPECT_EQ(rows[1].pid, 4); // what is set before the address
        EXPECT_TRUE(untouched(rows[1], 8, 48));
    }
}

TEST(Rows, RaiseInvalidArgumentForTextsWithoutDigits) {
    std::vector<vidmm_vm_pte_elt3k> entries(1);
    _PAGETABLE_DATA row = {};
    int next = 0;
    EXPECT_THROW(Fill_Value_to_subTable(&row, entries, &next, 4), std::invalid_argument);
    std::vector<data_vectors> nobody = {record_of("", entry_line(0, 1))};
    EXPECT_THROW(Fill_Value_to_PagetableData(nobody, &row), std::invalid_argument);
    std::vector<data_vectors> named = {record_of("app", "")};
    EXPECT_THROW(Fill_Value_to_PagetableData(named, &row), std::invalid_argument);
}

TEST(Rows, OfAnEmptySequenceAreNone) {
    std::vector<vidmm_vm_pt> entries;
    int next = 3;
    Fill_Value_to_ptTable(nullptr, entries, &next, 4);
    EXPECT_EQ(next, 3);
    std::vector<data_vectors> list;
    EXPECT_EQ(Calculate_Pagetable_Size(list), 0U);
    Fill_Value_to_PagetableData(list, nullptr);
}

TEST(Rows, GoOnFromTheSharedCounter) {
    std::vector<vidmm_vm_pte_elt3k> entries(2);
    std::strcpy(entries[0].Addr, "1");
    std::strcpy(entries[1].Addr, "2");
    _PAGETABLE_DATA rows[5] = {untouched_row(), untouched_row(), untouched_row(), untouched_row(), untouched_row()};
    int next = 2;
    Fill_Value_to_subTable(rows, entries, &next, 4);
    EXPECT_EQ(next, 4);
    EXPECT_TRUE(untouched(rows[1], 0, 48));
    EXPECT_EQ(rows[3].addr, 2);
    EXPECT_TRUE(untouched(rows[4], 0, 48));
}

TEST(PageTableExport, GivesFiveRowsForTwoEntriesAndARunOfThree) {
    VmKernel kernel;
    kernel.client("01000000", "4711", "game",
                  entry_line(0, 6) + entry_line(0, 7) + sub_line(0, 1) + sub_line(0, 2) + sub_line(0, 3));
    ASSERT_EQ(snapshot(), 5U);
    EXPECT_EQ(Get_Local_Data_Status, 0);
    _PAGETABLE_DATA rows[6];
    std::memset(rows, 0xA5, sizeof rows);
    std::uint32_t count = 99;
    EXPECT_EQ(get_pagetable_data(rows, &count), 0);
    EXPECT_EQ(count, 99U);
    for (int at = 0; at < 5; ++at) {
        EXPECT_EQ(rows[at].pid, 4711);
        EXPECT_EQ(rows[at].type, at < 2 ? 1 : -1);
        if (at >= 2) {
            EXPECT_EQ(rows[at].parent_level, 0);
            EXPECT_EQ(rows[at].parent_index, 7);
        }
    }
    EXPECT_TRUE(untouched(rows[0], 16, 24));
    EXPECT_TRUE(untouched(rows[0], 32, 40));
    EXPECT_TRUE(untouched(rows[5], 0, 48));
    _PAGETABLE_DATA again[6];
    std::memset(again, 0xA5, sizeof again);
    EXPECT_EQ(get_pagetable_data(again, nullptr), 0);
    EXPECT_EQ(std::memcmp(rows, again, sizeof rows), 0);
}

TEST(PageTableExport, CountsNothingWithoutClients) {
    VmKernel kernel;
    EXPECT_EQ(snapshot(), 0U);
    _PAGETABLE_DATA row = untouched_row();
    std::uint32_t count = 9;
    get_pagetable_data_info(&row, &count);
    EXPECT_TRUE(untouched(row, 0, 48));
}

TEST(PageTableExport, CopiesAnEmptyListBeforeTheFirstSnapshot) {
    ASSERT_EQ(Get_Local_Data_Status, 0);
    OutputCapture output;
    _PAGETABLE_DATA row = untouched_row();
    EXPECT_EQ(get_pagetable_data(&row, nullptr), 0);
    EXPECT_EQ(output.text(), "");
    EXPECT_TRUE(untouched(row, 0, 48));
}

TEST(PageTableExport, ReplacesTheOlderSnapshotAndItsAllocations) {
    VmKernel kernel;
    kernel.client("01000000", "1", "a", entry_line(0, 1)).allocation("1a", "=====vm node info=====\n");
    EXPECT_EQ(snapshot(), 1U);
    EXPECT_EQ(snapshot(), 1U);
    EXPECT_EQ(Pagetable_List.size(), 1U);
    EXPECT_EQ(Allocation_List.size(), 1U);
}

TEST(PageTableExport, SaysSoOnEveryCallAfterAFailedSnapshotAndLeavesTheCountAlone) {
    VmKernel kernel;
    kernel.remove(kDriver + "/devices");
    {
        OutputCapture output;
        EXPECT_EQ(snapshot(), 777U);
        EXPECT_EQ(output.text(), kNoSnapshot);
    }
    EXPECT_EQ(Get_Local_Data_Status, -1);
    OutputCapture output;
    _PAGETABLE_DATA row = untouched_row();
    EXPECT_EQ(get_pagetable_data(&row, nullptr), 0);
    EXPECT_EQ(get_pagetable_data(&row, nullptr), 0);
    EXPECT_EQ(output.text(), std::string(kNoSnapshot) + kNoSnapshot);
    EXPECT_TRUE(untouched(row, 0, 48));
    kernel.directory(kDriver + "/devices");
    EXPECT_EQ(snapshot(), 0U);
    EXPECT_EQ(Get_Local_Data_Status, 0);
}

TEST(PageTableExport, FailsWithoutAllocationsAndStillReadsTheClients) {
    VmKernel kernel;
    kernel.client("01000000", "1", "a", entry_line(0, 1)).remove(kDriver + "/allocations");
    EXPECT_EQ(snapshot(), 777U);
    EXPECT_EQ(Pagetable_List.size(), 1U);
    EXPECT_EQ(Get_Local_Data_Status, -1);
}

TEST(PageTableExport, SaysWhichTriesFailedAndThenThatThereIsNoSnapshot) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", entry_line(0, 1));
    kernel.file(kDriver + "/allocations/1", "no directory");
    OutputCapture output;
    EXPECT_EQ(snapshot(), 777U);
    std::string expected;
    for (int tries = 0; tries < 10; ++tries) {
        expected += "Fail to read allocation info.. skip and try it again...\n";
    }
    EXPECT_EQ(output.text(), expected + kNoSnapshot);
}

TEST(PageTableExport, CountsAndCopiesDuplicatesOfASnapshotThatNeededRetries) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", entry_line(0, 1)).client("03000000", "5", "a", entry_line(0, 1));
    const std::string last = listed_clients()[1];
    kernel.remove(kernel.client_file(last, "info"));
    // The driver takes the client's directory away while ps answers for it.
    kernel.file("/bin/ps", "#!/bin/sh\n[ \"$2\" = -o ] && rm -r " + kernel.real(kDriver + "/devices/" + last).string() +
                               "\necho a\n");
    OutputCapture output;
    ASSERT_EQ(snapshot(), 2U);
    EXPECT_EQ(output.text(), "Fail to read pid info. skip...\n");
    _PAGETABLE_DATA rows[3] = {untouched_row(), untouched_row(), untouched_row()};
    get_pagetable_data(rows, nullptr);
    EXPECT_EQ(std::memcmp(&rows[0], &rows[1], sizeof rows[0]), 0);
    EXPECT_EQ(rows[1].pid, 5);
    EXPECT_TRUE(untouched(rows[2], 0, 48));
}

TEST(PageTableExport, WithoutAllocationsSucceedsOrFailsWithTheClients) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", entry_line(0, 1));
    EXPECT_EQ(snapshot(), 1U);
    std::uint32_t nodes = 9;
    get_allocation_data(nullptr, &nodes);
    EXPECT_EQ(nodes, 0U);
    kernel.remove(kernel.client_file("01000000", "vm_info"));
    EXPECT_EQ(snapshot(), 777U);
    EXPECT_EQ(Get_Local_Data_Status, -1);
}

TEST(PageTableExport, CountsAsFailedWhenANumberErrorEndsTheSnapshot) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", "0:x: entry\n");
    std::uint32_t count = 777;
    EXPECT_THROW(get_pagetable_data(nullptr, &count), std::invalid_argument);
    EXPECT_EQ(count, 777U);
    EXPECT_EQ(Get_Local_Data_Status, -1);
    OutputCapture output;
    _PAGETABLE_DATA row = untouched_row();
    get_pagetable_data(&row, nullptr);
    get_allocation_data(nullptr, &count);
    EXPECT_EQ(output.text(), std::string(kNoSnapshot) + kNoSnapshot);
    EXPECT_EQ(count, 777U);
}

TEST(PageTableExport, RaisesOutOfRangeForAnAddressBeyondSignedNumbersInTheSecondCall) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", entry_line(0, 1, "0x80000000"));
    ASSERT_EQ(snapshot(), 1U);
    _PAGETABLE_DATA row = untouched_row();
    EXPECT_THROW(get_pagetable_data(&row, nullptr), std::out_of_range);
}

TEST(PageTableExport, RaisesInvalidArgumentForAClientWithoutAnId) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", entry_line(0, 1));
    kernel.file(kernel.client_file("01000000", "info"), "name = x\n");
    ASSERT_EQ(snapshot(), 1U);
    _PAGETABLE_DATA row = untouched_row();
    EXPECT_THROW(get_pagetable_data(&row, nullptr), std::invalid_argument);
}

TEST(PageTableExport, LeavesNoDescriptorAfterAThousandFailingRefreshes) {
    VmKernel kernel;
    kernel.allocation("1a", "=====vm node info=====\nsize =");
    const int before = open_descriptors();
    std::uint32_t count = 0;
    int failures = 0;
    for (int i = 0; i < 1'000; ++i) {
        try {
            get_pagetable_data(nullptr, &count);
        } catch (const std::out_of_range&) {
            ++failures;
        }
    }
    EXPECT_EQ(failures, 1'000);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(PageTableExport, LeavesNoDescriptorWhereverARefreshFails) {
    VmKernel kernel;
    kernel.client("01000000", "0", "a", entry_line(0, 1) + "0:x: entry\n");
    kernel.allocation("1a", "=====vm node info=====\nsize = 0x1\n");
    const int before = open_descriptors();
    std::uint32_t count = 0;
    for (int i = 0; i < 20; ++i) {
        EXPECT_THROW(get_pagetable_data(nullptr, &count), std::invalid_argument);
    }
    EXPECT_EQ(open_descriptors(), before);
    std::vector<data_vectors> clients;
    std::vector<allcation_Info> nodes;
    kernel.remove(kernel.client_file("01000000", "vm_info")).remove(kDriver + "/allocations/1a/vm_info");
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(get_PageTable_data(clients), -1);
        EXPECT_EQ(get_alloction_data_try(nodes), -1);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(SnapshotCalls, AcceptANullCount) {
    VmKernel kernel;
    EXPECT_EQ(get_pagetable_data(nullptr, nullptr), 0);
    EXPECT_EQ(get_allocation_data(nullptr, nullptr), 0);
    EXPECT_EQ(Get_Local_Data_Status, 0);
}
