#include "support/descriptors.hpp"
#include "support/fake_kernel.hpp"
#include "support/file_reading.hpp"

#include <gtest/gtest.h>

using namespace kt3;

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
