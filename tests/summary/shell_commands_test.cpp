#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "summary/fake_dmidecode.hpp"
#include "support/descriptors.hpp"
#include "support/no_descriptors.hpp"
#include "support/one_adapter.hpp"
#include "support/output_capture.hpp"

#include <gmock/gmock.h>

using kt3::tests::FakeDmidecode;
using kt3::tests::memory_device;
using kt3::tests::NoDescriptors;
using kt3::tests::OutputCapture;

TEST(RunShellCommand, FillsTheBufferAndZeroesTheRest) {
    char buffer[16];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(runShellCommand("printf abc", buffer, 8), 3U);
    EXPECT_EQ(std::string(buffer, 9), std::string("abc\0\0\0\0\0#", 9));
}

TEST(RunShellCommand, CutsTheOutputToWhatFitsWithATerminator) {
    char buffer[8] = "#######";
    EXPECT_EQ(runShellCommand("printf abcdef", buffer, 4), 3U);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(buffer[4], '#');
}

TEST(RunShellCommand, TakesBuffersOfZeroOneAndTwoBytes) {
    char buffer[4] = "###";
    EXPECT_EQ(runShellCommand("printf abc", buffer, 0), 0U);
    EXPECT_STREQ(buffer, "###");
    EXPECT_EQ(runShellCommand("printf abc", nullptr, 8), 0U);
    EXPECT_EQ(runShellCommand("printf abc", buffer, 1), 0U);
    EXPECT_EQ(std::string(buffer, 3), std::string("\0##", 3));
    EXPECT_EQ(runShellCommand("printf abc", buffer, 2), 1U);
    EXPECT_EQ(std::string(buffer, 3), std::string("a\0#", 3));
}

TEST(RunShellCommand, ReportsACommandThatCannotBeStarted) {
    OutputCapture output;
    char buffer[4] = "###";
    {
        const NoDescriptors none;
        EXPECT_EQ(runShellCommand("true", buffer, 4), 1U);
        EXPECT_EQ(runShellCommand_getMemoryTYpe(), 1U);
        EXPECT_EQ(runShellCommand_getBitWidth(), 1U);
    }
    EXPECT_EQ(runShellCommand(nullptr, buffer, 4), 1U);
    EXPECT_EQ(output.text(),
              "Failed to run command\nFailed to run command\nFailed to run command\nFailed to run command\n");
    EXPECT_STREQ(buffer, "###");
}

TEST(RunShellCommand, ChildrenInheritNoDescriptorOfTheAdapter) {
    kt3::tests::OneAdapter adapter;
    char buffer[4096];
    EXPECT_GT(runShellCommand("ls -l /proc/self/fd", buffer, sizeof buffer), 10U);
    EXPECT_EQ(std::string(buffer).find(adapter.kernel.root().string()), std::string::npos) << buffer;
}

TEST(RunShellCommand, LeavesNoDescriptorAndNoChildBehind) {
    const int before = kt3::tests::open_descriptors();
    char buffer[4];
    runShellCommand("yes", buffer, sizeof buffer); // never ends by itself
    EXPECT_EQ(kt3::tests::open_descriptors(), before);
}

TEST(MemoryType, ReadsTheGenerationOfTheFirstDevice) {
    const FakeDmidecode tool(memory_device("64", "A", "DDR5") + memory_device("64", "B", "DDR5"));
    EXPECT_EQ(runShellCommand_getMemoryTYpe(), 5U);
    EXPECT_EQ(runShellCommand_getBitWidth(), 128U);
    EXPECT_EQ(tool.runs(), "-t memory\n-t memory\n");
}

TEST(MemoryType, IsFourAndTheWidthZeroWithoutTheTool) {
    const FakeDmidecode tool = FakeDmidecode::absent();
    EXPECT_EQ(runShellCommand_getMemoryTYpe(), 4U);
    EXPECT_EQ(runShellCommand_getBitWidth(), 0U);
}

TEST(MemoryType, IsFourWithoutATypeLine) {
    const FakeDmidecode tool("Memory Device\n\tTotal Width: 64 bits\n");
    EXPECT_EQ(runShellCommand_getMemoryTYpe(), 4U);
    EXPECT_EQ(runShellCommand_getBitWidth(), 64U);
}

TEST(MemoryType, SurvivesAToolThatHangsUpInTheMiddleOfALine) {
    const auto tool = FakeDmidecode::running("printf '\\tTotal Width: 64 bits\\n\\tType: DDR'; kill -9 $$");
    EXPECT_EQ(runShellCommand_getMemoryTYpe(), 4U);
}

TEST(MemoryType, StopsReadingAToolThatPrintsTwoHundredDevices) {
    std::string text;
    for (int i = 0; i < 200; ++i) {
        text += memory_device("64", "A", i == 0 ? "DDR5" : "DDR4");
    }
    const FakeDmidecode tool(text);
    EXPECT_EQ(runShellCommand_getMemoryTYpe(), 5U);
    EXPECT_EQ(runShellCommand_getBitWidth(), 64U);
}

TEST(MemoryType, ReadsALineLongerThanItsBufferInPieces) {
    const FakeDmidecode tool("Total Width: 64 bits\n" + std::string(1023, 'x') + "Type: DDR5\n");
    EXPECT_EQ(runShellCommand_getMemoryTYpe(), 5U) << "the second piece starts at the type";
    const FakeDmidecode cut("Total Width: 64 bits\n" + std::string(1021, 'x') + "Type: DDR5\n");
    EXPECT_EQ(runShellCommand_getMemoryTYpe(), 4U) << "the first piece ends inside the word";
}
