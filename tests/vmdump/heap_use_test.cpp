// SPDX-License-Identifier: MIT
#include "vmdump/client_record.hpp"
#include "vmdump/dump_text.hpp"
#include "vmdump/rows.hpp"
#include "vmdump/vm_kernel.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

using namespace kt3::tests;

namespace {

std::size_t blocks_taken = 0;

} // namespace

void* operator new(std::size_t bytes) {
    ++blocks_taken;
    void* block = std::malloc(bytes);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace {

std::string dump_of(int runs) {
    std::string text = entry_line(0, 0) + entry_line(1, 0);
    for (int run = 0; run < runs; ++run) {
        text += entry_line(2, run, "0x1a20", "a buffer text too long for a short string") + "ignored\n";
        text += sub_line(2, 0) + "  2:1  Snoop:1 Segment:0 Addr:0x10 \n" + sub_line(2, 2);
    }
    return text;
}

} // namespace

TEST(HeapUse, OfReadingADumpIsNoneWithinTheReservedRoom) {
    VmKernel kernel;
    const std::string path = kernel.client_file("03000000", "vm_info");
    kernel.client("03000000", "12", "game", dump_of(1'000));
    std::string path_text = kernel.real(path).string();
    data_vectors record = kt3::vmdump::make_record();
    const kt3::vmdump::DumpBlock block;
    const std::size_t before = blocks_taken;
    ASSERT_TRUE(kt3::vmdump::read_stamped_page_tables(path_text.c_str(), block, record));
    EXPECT_EQ(blocks_taken, before);
    EXPECT_EQ(record.st_level2.size(), 3'000U);
}

TEST(HeapUse, OfFillingRowsIsNone) {
    std::vector<data_vectors> list(1);
    read_text(dump_of(100), list[0]);
    list[0].pid[0] = '7';
    std::vector<_PAGETABLE_DATA> rows(kt3::vmdump::count_rows(list));
    const std::size_t before = blocks_taken;
    kt3::vmdump::fill_all_rows(rows.data(), list);
    EXPECT_EQ(blocks_taken, before);
    EXPECT_EQ(rows.back().index, 2);
}
