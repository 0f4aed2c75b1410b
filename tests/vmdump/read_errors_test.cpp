// SPDX-License-Identifier: MIT
// Dumps and info files that cannot be read to their end, as when a client goes away between open and read.

#include "support/faulty_reads.hpp"
#include "support/output_capture.hpp"
#include "vmdump/dump_text.hpp"
#include "vmdump/vm_kernel.hpp"

#include <gtest/gtest.h>

using namespace kt3::tests;

namespace {

constexpr const char* kNoOwner = "Fail to read pid info. skip...\n";

// The result for the info file of a client and what it says.
struct OwnerRead {
    OwnerRead(VmKernel& kernel, const std::string& text, std::size_t at_most, int good_reads) {
        kernel.file(path, text);
        OutputCapture output;
        {
            FaultyReads reads(at_most, good_reads);
            result = get_Pid_info(&record, path.data());
            reads_made = reads.made();
        }
        said = output.text();
    }
    std::string path = kDriver + "/info";
    data_vectors record;
    int result = 0;
    int reads_made = 0;
    std::string said;
};

} // namespace

TEST(ReadError, OfAClientsInfoIsAFileThatCannotBeOpened) {
    VmKernel kernel;
    const OwnerRead owner(kernel, "name = x\npid = 4711\n", 12, 1);
    EXPECT_EQ(owner.result, -1);
    EXPECT_EQ(owner.said, kNoOwner);
    EXPECT_STREQ(owner.record.pid, "");
}

TEST(ReadError, AfterTheOwnerLineIsNoFailure) {
    VmKernel kernel;
    const OwnerRead owner(kernel, "pid = 4711\nname = x\n", 5, 3);
    EXPECT_EQ(owner.result, 0);
    EXPECT_STREQ(owner.record.pid, "4711");
    EXPECT_EQ(owner.said, "");
    EXPECT_EQ(owner.reads_made, 3) << "nothing is read after the owner line";
}

TEST(ReadError, AfterAnOwnerLineOf511CharactersIsNoFailure) {
    VmKernel kernel;
    const OwnerRead owner(kernel, repeated(500, '.') + "pid = 47111", 511, 1);
    EXPECT_EQ(owner.result, 0);
    EXPECT_STREQ(owner.record.pid, "47111");
}

TEST(ReadError, OfADumpFailsTheWalk) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", entry_line(0, 1));
    kernel.remove(kernel.client_file("01000000", "vm_info")).directory(kernel.client_file("01000000", "vm_info"));
    data_vectors record;
    std::string path = kernel.client_file("01000000", "vm_info");
    EXPECT_EQ(get_pagetable_info(&record, path.data()), -1);
    std::vector<data_vectors> list;
    OutputCapture output;
    EXPECT_EQ(get_PageTable_data(list), -1);
    EXPECT_EQ(output.text(), "");
    EXPECT_TRUE(list.empty());
}

TEST(ReadError, OfAnAllocationsNodesIsTriedAgain) {
    VmKernel kernel;
    kernel.allocation("1", "=====vm node info=====\nsize = 0x1\n");
    std::vector<allcation_Info> list;
    OutputCapture output;
    const FaultyReads reads(40, 1); // in the middle of the first try
    EXPECT_EQ(get_alloction_data(list), 0);
    EXPECT_EQ(output.text(), "Fail to read allocation info.. skip and try it again...\n");
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].size, "0x1");
}

TEST(PiecewiseReads, GiveTheSameRecords) {
    VmKernel kernel;
    std::string dump;
    for (int at = 0; at < 100; ++at) {
        dump += entry_line(0, at) + sub_line(0, at) + repeated(600, '.') + "\n";
    }
    kernel.client("01000000", "4711", "a", dump);
    const std::string path = kernel.client_file("01000000", "vm_info");
    for (const std::size_t at_most : {1U, 7U, 511U, 4096U}) {
        data_vectors record;
        const FaultyReads reads(at_most);
        ASSERT_EQ(get_pagetable_info(&record, std::string(path).data()), 0);
        ASSERT_EQ(record.pt_level0.size(), 100U);
        EXPECT_EQ(record.st_level0.at(99).Index, 99);
        ASSERT_EQ(get_Pid_info(&record, std::string(kernel.client_file("01000000", "info")).data()), 0);
        EXPECT_STREQ(record.pid, "4711");
    }
}
