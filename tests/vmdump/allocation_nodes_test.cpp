// SPDX-License-Identifier: MIT
#include "support/failing_listings.hpp"
#include "support/log_capture.hpp"
#include "support/raised_error.hpp"
#include "vmdump/allocation_nodes.hpp"
#include "vmdump/vm_kernel.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

using namespace kt3::tests;

extern "C" void
encoded_get_allocation_data_info(_GFX_VM_ALLOCATION_DATA* entries,
                                 uint32_t* count) __asm__("_Z24get_allocation_data_infoP23_GFX_VM_ALLOCATION_DATAPj");

namespace {

const std::string kNode = "=====vm node info=====";

std::string node(const std::string& pid, const std::string& name, const std::string& va, const std::string& size) {
    return kNode + "\ndevice_pid = " + pid + "\ndevice_pname = " + name + "\ngpu_va = " + va + "\nsize = " + size +
           "\n";
}

allcation_Info info(const char* pid, const char* handle, const char* va, const char* size) {
    return {pid, "name", handle, va, size};
}

} // namespace

TEST(SplitNodes, GivesNothingWithoutASeparator) {
    EXPECT_TRUE(split_VmNode_Info("").empty());
    EXPECT_TRUE(split_VmNode_Info("=====vm node info====\nsize = 1\n").empty());
}

TEST(SplitNodes, IgnoresWhatLiesInFrontOfTheFirstSeparator) {
    EXPECT_EQ(split_VmNode_Info("head\n" + kNode + "a"), std::vector<std::string>{kNode + "a"});
}

TEST(SplitNodes, RunsTheLastOfThreeToTheEndOfTheText) {
    const std::vector<std::string> expected = {kNode + "\n1\n", kNode, kNode + "3 to\nthe end"};
    EXPECT_EQ(split_VmNode_Info(kNode + "\n1\n" + kNode + kNode + "3 to\nthe end"), expected);
}

TEST(SplitNodes, DoesNotLetSeparatorsOverlap) {
    // The equals signs at the end of one separator are not taken for the start of the next.
    const std::string joined = kNode + "vm node info=====";
    EXPECT_EQ(split_VmNode_Info(joined), std::vector<std::string>{joined});
}

TEST(AllocationWalk, ReadsEveryNodeOfEveryAllocation) {
    VmKernel kernel;
    kernel.allocation("1a", "text\n" + node("4711", "game", "0x7f00", "0x2000") + node("12", "x", "1", "2"));
    std::vector<allcation_Info> list(1);
    EXPECT_EQ(get_alloction_data_try(list), 0);
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[1].device_pid, "4711");
    EXPECT_EQ(list[1].device_pname, "game");
    EXPECT_EQ(list[1].handle, "1a");
    EXPECT_EQ(list[1].gpu_va, "0x7f00");
    EXPECT_EQ(list[1].size, "0x2000");
    EXPECT_EQ(list[2].device_pid, "12");
    EXPECT_EQ(list[2].handle, "1a");
}

TEST(AllocationWalk, GivesEmptyTextsForMissingKeysAndFiltersNoNode) {
    VmKernel kernel;
    kernel.allocation("1", kNode + "\n");
    std::vector<allcation_Info> list;
    EXPECT_EQ(get_alloction_data(list), 0);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].device_pid + list[0].device_pname + list[0].gpu_va + list[0].size, "");
}

TEST(AllocationWalk, AddsNothingForATextWithoutSeparator) {
    VmKernel kernel;
    kernel.allocation("1", "device_pid = 5\n").allocation("2", "");
    std::vector<allcation_Info> list;
    EXPECT_EQ(get_alloction_data(list), 0);
    EXPECT_TRUE(list.empty());
}

TEST(AllocationWalk, ReadsFilesOfAnySize) {
    VmKernel kernel;
    for (const std::size_t filler : {16U * 1024 - 200, 16U * 1024 - 22, 16U * 1024, 100'000U}) {
        kernel.allocation("1", repeated(filler, '.') + node("5", "a", "0x1", "0x2"));
        std::vector<allcation_Info> list;
        EXPECT_EQ(get_alloction_data(list), 0);
        ASSERT_EQ(list.size(), 1U) << filler;
        EXPECT_EQ(list[0].size, "0x2");
    }
}

TEST(AllocationWalk, KeepsZeroBytes) {
    VmKernel kernel;
    kernel.allocation("1", node("5", std::string("a\0b", 3), "0x1", "0x2"));
    std::vector<allcation_Info> list;
    EXPECT_EQ(get_alloction_data(list), 0);
    EXPECT_EQ(list.at(0).device_pname, std::string("a\0b", 3));
}

TEST(AllocationWalk, FailsSilentlyWithoutADirectory) {
    VmKernel kernel;
    kernel.remove(kDriver + "/allocations");
    std::vector<allcation_Info> list;
    OutputCapture output;
    EXPECT_EQ(get_alloction_data(list), -1);
    EXPECT_EQ(output.text(), "");
}

TEST(AllocationWalk, TakesAListingThatFailsForADirectoryThatCannotBeOpened) {
    VmKernel kernel;
    const std::string real = kernel.real(kDriver).string();
    EXPECT_TRUE(holds_while_listings_fail([&] {
        std::vector<allcation_Info> list;
        OutputCapture output;
        return !kt3::vmdump::walk_allocation_nodes(real.c_str(), list) && output.text().empty();
    }));
}

TEST(AllocationWalk, SaysWhenAFileCannotBeOpenedAndIsTriedTenTimes) {
    VmKernel kernel;
    kernel.directory(kDriver + "/allocations/1");
    std::vector<allcation_Info> list;
    OutputCapture output;
    EXPECT_EQ(get_alloction_data_try(list), -1);
    EXPECT_EQ(get_alloction_data(list), -1);
    std::string expected;
    for (int tries = 0; tries < 11; ++tries) {
        expected += "Fail to read allocation info.. skip and try it again...\n";
    }
    EXPECT_EQ(output.text(), expected);
}

TEST(AllocationWalk, LetsTheSubstringErrorThrough) {
    VmKernel kernel;
    kernel.allocation("1", kNode + "\nsize =");
    std::vector<allcation_Info> list;
    EXPECT_THROW(get_alloction_data(list), std::out_of_range);
    EXPECT_TRUE(list.empty());
}

TEST(AllocationExport, FillsTheNumbersAndLeavesTheReservedBytesAlone) {
    Allocation_List = {info("4711", "1a", "0x7f0000000000", "0x2000"), info(" -5", "ff", "-1", "7fffffffffffffff")};
    _GFX_VM_ALLOCATION_DATA entries[3];
    std::memset(entries, 0xA5, sizeof entries);
    EXPECT_EQ(get_allocation_data(entries, nullptr), 0);
    EXPECT_EQ(entries[0].pid, 4711);
    EXPECT_EQ(entries[0].handle, 26);
    EXPECT_EQ(entries[0].gpu_va, 0x7f0000000000);
    EXPECT_EQ(entries[0].size, 8192);
    EXPECT_EQ(entries[1].pid, -5);
    EXPECT_EQ(entries[1].gpu_va, -1);
    EXPECT_EQ(entries[1].size, INT64_MAX);
    for (const unsigned char byte : entries[0].reserved_4) {
        EXPECT_EQ(byte, 0xA5);
    }
    for (const unsigned char byte : entries[1].reserved_32) {
        EXPECT_EQ(byte, 0xA5);
    }
    EXPECT_EQ(static_cast<std::uint32_t>(entries[2].pid), 0xA5A5A5A5U);
}

TEST(AllocationExport, CountsWithoutARefresh) {
    VmKernel kernel;
    kernel.allocation("1", node("5", "a", "1", "2"));
    std::uint32_t count = 9;
    EXPECT_EQ(get_allocation_data(nullptr, &count), 0);
    EXPECT_EQ(count, 0U);
    std::uint32_t rows = 0;
    get_pagetable_data(nullptr, &rows);
    get_allocation_data_info(nullptr, &count);
    EXPECT_EQ(count, 1U);
    count = 9;
    encoded_get_allocation_data_info(nullptr, &count);
    EXPECT_EQ(count, 1U);
}

TEST(AllocationExport, WritesNothingAfterAFailedRefresh) {
    VmKernel kernel;
    kernel.remove(kDriver + "/devices");
    kernel.allocation("1", node("5", "a", "1", "2"));
    std::uint32_t count = 9;
    OutputCapture output;
    get_pagetable_data(nullptr, &count);
    _GFX_VM_ALLOCATION_DATA entry = {};
    EXPECT_EQ(get_allocation_data(nullptr, &count), 0);
    EXPECT_EQ(get_allocation_data(&entry, &count), 0);
    EXPECT_EQ(count, 9U);
    EXPECT_EQ(entry.pid, 0);
    const std::string line = "\nThe function is being tested on this Chip......\n";
    EXPECT_EQ(output.text(), line + line + line);
    EXPECT_EQ(Allocation_List.size(), 1U);
}

TEST(AllocationExport, RaisesTheNamedErrorsAndKeepsTheEntriesBefore) {
    struct Row {
        allcation_Info node;
        const char* invalid;
        const char* range;
    };
    const Row rows[] = {
        {info("", "1", "1", "1"), "stoi", "none"},
        {info("2147483648", "1", "1", "1"), "none", "stoi"},
        {info("1", "x", "1", "1"), "stoll", "none"},
        {info("1", "8000000000000000", "1", "1"), "none", "stoll"},
        {info("1", "1", "", "1"), "stoll", "none"},
        {info("1", "1", "1", "zz"), "stoll", "none"},
        {info("1", "1", "1", "0xffffffffffffffff"), "none", "stoll"},
    };
    for (const Row& row : rows) {
        Allocation_List = {info("7", "2", "3", "4"), row.node};
        _GFX_VM_ALLOCATION_DATA entries[2] = {};
        const auto fill = [&] { get_allocation_data(entries, nullptr); };
        std::string invalid = "none";
        std::string range = "none";
        try {
            fill();
        } catch (const std::invalid_argument& error) {
            invalid = error.what();
        } catch (const std::out_of_range& error) {
            range = error.what();
        }
        EXPECT_EQ(invalid, row.invalid);
        EXPECT_EQ(range, row.range);
        EXPECT_EQ(entries[0].size, 4);
        EXPECT_EQ(entries[0].pid, 7);
    }
}

TEST(AllocationExport, StopsInTheMiddleOfAnEntry) {
    Allocation_List = {info("7", "2", "", "4")};
    _GFX_VM_ALLOCATION_DATA entry = {};
    EXPECT_EQ(error_of<std::invalid_argument>([&] { get_allocation_data(&entry, nullptr); }), "stoll");
    EXPECT_EQ(entry.pid, 7);
    EXPECT_EQ(entry.handle, 2);
    EXPECT_EQ(entry.size, 4);
    EXPECT_EQ(entry.gpu_va, 0);
}

TEST(Snapshot, ReadsAllocationsFirstAndFailsWhenEitherFails) {
    VmKernel kernel;
    std::vector<data_vectors> clients;
    std::vector<allcation_Info> nodes;
    EXPECT_EQ(get_current_PageTable_data(clients, nodes), 0);
    kernel.remove(kDriver + "/allocations");
    EXPECT_EQ(get_current_PageTable_data(clients, nodes), -1);
    kernel.allocation("1", kNode);
    kernel.remove(kDriver + "/devices");
    EXPECT_EQ(get_current_PageTable_data(clients, nodes), -1);
    EXPECT_EQ(nodes.size(), 1U);
}
