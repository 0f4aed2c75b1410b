#include "support/descriptors.hpp"
#include "support/fake_kernel.hpp"
#include "support/file_reading.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

using namespace kt3;

namespace {

int reads = 0;           // made by the code under test
int interruptions = 0;   // reads still to be interrupted
std::size_t at_most = 0; // bytes a read gives at most; 0 for no limit

} // namespace

// The C library's read, counted, and interrupted or shortened when a test asks for it.
extern "C" ssize_t read(int file, void* buffer, std::size_t size) {
    ++reads;
    if (interruptions > 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    return ::syscall(SYS_read, file, buffer, at_most == 0 ? size : std::min(size, at_most));
}

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
    EXPECT_EQ(support::read_line_at(-1, "absent", buffer, 4), 0U);
    EXPECT_EQ(tests::open_descriptors(), before);
}

TEST(ReadPage, GivesZeroForADirectory) {
    tests::FakeKernel kernel;
    kernel.directory("/sys/bus/pci/folder");
    char buffer[4];
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/folder", buffer, 4), 0U);
}

TEST(ReadLine, TakesTextWithoutANewlineWhole) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/line", "800");
    char buffer[8] = {};
    EXPECT_EQ(support::read_line_at(AT_FDCWD, "/sys/bus/pci/line", buffer, 8), 3U);
    EXPECT_STREQ(buffer, "800");
}

TEST(OpenForReading, IsCloseOnExec) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/line", "1\n");
    const auto file = support::open_for_reading(AT_FDCWD, "/sys/bus/pci/line");
    ASSERT_TRUE(file);
    EXPECT_NE(::fcntl(file.get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(ReadLine, NeedsOneReadForALineThatEndsInANewline) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/line", "800\n");
    char buffer[64] = {};
    reads = 0;
    EXPECT_EQ(support::read_line_at(AT_FDCWD, "/sys/bus/pci/line", buffer, 64), 4U);
    EXPECT_EQ(reads, 1);
}

TEST(ReadLine, GoesOnAfterAShortReadWithoutANewline) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/line", "1234567\n");
    at_most = 3;
    char buffer[64] = {};
    EXPECT_EQ(support::read_line_at(AT_FDCWD, "/sys/bus/pci/line", buffer, 64), 8U);
    EXPECT_STREQ(buffer, "1234567\n");
}

TEST(ReadPage, IsReadUntilTheEndOrFull) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/page", "12\n34\n56\n");
    at_most = 3;
    char buffer[64] = {};
    reads = 0;
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/page", buffer, 64), 9U);
    EXPECT_EQ(reads, 4); // three pieces and the end
    reads = 0;
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/page", buffer, 6), 6U);
    EXPECT_EQ(reads, 2); // full
}

TEST(ReadPage, RepeatsAnInterruptedRead) {
    tests::FakeKernel kernel;
    kernel.file("/sys/bus/pci/page", "800\n");
    char buffer[8] = {};
    interruptions = 3;
    EXPECT_EQ(support::read_page_at(AT_FDCWD, "/sys/bus/pci/page", buffer, 8), 4U);
    interruptions = 3;
    EXPECT_EQ(support::read_line_at(AT_FDCWD, "/sys/bus/pci/page", buffer, 8), 4U);
    EXPECT_EQ(interruptions, 0);
}
