// SPDX-License-Identifier: MIT
// Clients call from threads with small stacks.

#include "support/output_capture.hpp"
#include "support/raised_error.hpp"
#include "support/stack_use.hpp"
#include "vmdump/dump_text.hpp"
#include "vmdump/vm_kernel.hpp"

#include <gtest/gtest.h>

using namespace kt3::tests;

namespace {

constexpr std::size_t kMost = 32 * 1024;

std::string long_dump() {
    std::string dump;
    for (int at = 0; at < 2'000; ++at) {
        dump += entry_line(0, at) + sub_line(0, at);
    }
    return dump;
}

} // namespace

TEST(StackUse, OfASnapshotAndItsExportIsSmall) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", long_dump());
    kernel.allocation("1", "=====vm node info=====\ndevice_pid = 5\ngpu_va = 1\nsize = 2\n");
    std::uint32_t count = 0;
    EXPECT_LE(stack_use_of([&] { get_pagetable_data(nullptr, &count); }), kMost);
    ASSERT_EQ(count, 4'000U);
    std::vector<_PAGETABLE_DATA> rows(count);
    EXPECT_LE(stack_use_of([&] { get_pagetable_data(rows.data(), nullptr); }), kMost);
    _GFX_VM_ALLOCATION_DATA entry = {};
    EXPECT_LE(stack_use_of([&] { get_allocation_data(&entry, nullptr); }), kMost);
    EXPECT_EQ(entry.size, 2);
}

TEST(StackUse, OfADumpThatRaisesAnErrorIsSmall) {
    VmKernel kernel;
    kernel.client("01000000", "5", "a", long_dump() + "x:1: entry\n");
    std::vector<data_vectors> list;
    std::string error;
    const auto walk = [&] { error = error_of<std::invalid_argument>([&] { get_PageTable_data(list); }); };
    EXPECT_LE(stack_use_of(walk), kMost);
    EXPECT_EQ(error, "stoi");
}

TEST(StackUse, OfPrintingIsSmall) {
    data_vectors record = read_text(entry_line(0, 1) + sub_line(0, 1));
    OutputCapture output;
    EXPECT_LE(stack_use_of([&] { Print_PageTable(&record.pt_level0[0]); }), kMost);
    EXPECT_LE(stack_use_of([&] { Print_SubTable(&record.st_level0[0]); }), kMost);
}
