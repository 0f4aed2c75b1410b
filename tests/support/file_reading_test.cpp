// SPDX-License-Identifier: MIT
#include "support/descriptors.hpp"
#include "support/fake_kernel.hpp"
#include "support/file_reading.hpp"
#include "support/odd_reads.hpp"

#include <gtest/gtest.h>

using namespace kt3;
using tests::odd_reads;

TEST(ReadPage, FillsTheBufferAndLeavesTheRestAlone) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/page", "12\n34\n");
    char buffer[8] = "#######";
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/page", buffer, 8), 6U);
    EXPECT_EQ(std::string(buffer, 8), std::string("12\n34\n#\0", 8));
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/page", buffer, 4), 4U);
}

TEST(ReadPage, GivesZeroForAFileThatCannotBeOpenedAndLeavesNoDescriptor) {
    tests::FakeKernel kernel;
    char buffer[4];
    const int before = tests::open_descriptors();
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/absent", buffer, 4), 0U);
    EXPECT_EQ(support::read_node_at(-1, "absent", buffer, 4), 0U);
    EXPECT_EQ(tests::open_descriptors(), before);
}

TEST(ReadPage, GivesZeroForADirectory) {
    tests::FakeKernel kernel;
    kernel.directory("/sys/bus/pci/folder");
    char buffer[4];
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/folder", buffer, 4), 0U);
}

TEST(ReadNode, TakesTextWithoutANewlineWhole) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/line", "800");
    char buffer[8] = {};
    EXPECT_EQ(support::read_node_at(AT_FDCWD, "/sys/bus/pci/line", buffer, 8), 3U);
    EXPECT_STREQ(buffer, "800");
}

TEST(ReadWhole, TellsAReadErrorFromTheEndOfTheFile) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/page", "12\n34\n");
    const auto read_with_failure_after = [](int reads_before) {
        const auto file = support::open_for_reading(AT_FDCWD, "/sys/bus/pci/page");
        odd_reads() = {.at_most = 3, .good_left = reads_before};
        char buffer[64] = {};
        const support::PageRead page = support::read_whole(file.get(), buffer, sizeof buffer);
        odd_reads() = {};
        return std::pair(page.bytes, page.failed);
    };
    EXPECT_EQ(read_with_failure_after(-1), std::pair(6UL, false));
    EXPECT_EQ(read_with_failure_after(0), std::pair(0UL, true));
    EXPECT_EQ(read_with_failure_after(1), std::pair(3UL, true)) << "what came before the error is there";
    EXPECT_EQ(read_with_failure_after(2), std::pair(6UL, true)) << "the end itself was not reached";
}

TEST(ReadWhole, IsWholeWhenTheBufferIsFull) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/page", "12\n34\n");
    const auto file = support::open_for_reading(AT_FDCWD, "/sys/bus/pci/page");
    odd_reads() = {.good_left = 1}; // a read after the full buffer would fail
    char buffer[3];
    const support::PageRead page = support::read_whole(file.get(), buffer, sizeof buffer);
    odd_reads() = {};
    EXPECT_EQ(page.bytes, 3U);
    EXPECT_FALSE(page.failed);
}

TEST(ReadWhole, RepeatsAnInterruptedRead) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/page", "800\n");
    const auto file = support::open_for_reading(AT_FDCWD, "/sys/bus/pci/page");
    odd_reads() = {.to_interrupt = 3};
    char buffer[8] = {};
    const support::PageRead page = support::read_whole(file.get(), buffer, sizeof buffer);
    EXPECT_EQ(page.bytes, 4U);
    EXPECT_FALSE(page.failed);
    EXPECT_EQ(odd_reads().to_interrupt, 0);
}

TEST(OpenForReading, IsCloseOnExec) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/line", "1\n");
    const auto file = support::open_for_reading(AT_FDCWD, "/sys/bus/pci/line");
    ASSERT_TRUE(file);
    EXPECT_NE(::fcntl(file.get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(ReadNode, NeedsOneReadForALineThatEndsInANewline) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/line", "800\n");
    char buffer[64] = {};
    odd_reads() = {};
    EXPECT_EQ(support::read_node_at(AT_FDCWD, "/sys/bus/pci/line", buffer, 64), 4U);
    EXPECT_EQ(odd_reads().made, 1);
}

TEST(ReadNode, GoesOnAfterAShortReadWithoutANewline) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/line", "1234567\n");
    odd_reads() = {.at_most = 3};
    char buffer[64] = {};
    EXPECT_EQ(support::read_node_at(AT_FDCWD, "/sys/bus/pci/line", buffer, 64), 8U);
    EXPECT_STREQ(buffer, "1234567\n");
}

TEST(ReadPage, IsReadUntilTheEndOrFull) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/page", "12\n34\n56\n");
    odd_reads() = {.at_most = 3};
    char buffer[64] = {};
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/page", buffer, 64), 9U);
    EXPECT_EQ(odd_reads().made, 4); // three pieces and the end
    odd_reads().made = 0;
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/page", buffer, 6), 6U);
    EXPECT_EQ(odd_reads().made, 2); // full
}

TEST(ReadPage, RepeatsAnInterruptedRead) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/page", "800\n");
    char buffer[8] = {};
    odd_reads() = {.to_interrupt = 3};
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/page", buffer, 8), 4U);
    odd_reads() = {.to_interrupt = 3};
    EXPECT_EQ(support::read_node_at(AT_FDCWD, "/sys/bus/pci/page", buffer, 8), 4U);
    EXPECT_EQ(odd_reads().to_interrupt, 0);
}
