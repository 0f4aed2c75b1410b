// SPDX-License-Identifier: MIT
#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "summary/fake_dmidecode.hpp"
#include "support/descriptors.hpp"
#include "support/no_descriptors.hpp"
#include "support/one_adapter.hpp"
#include "support/output_capture.hpp"

#include <csignal>
#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

using kt3::tests::FakeDmidecode;
using kt3::tests::memory_device;
using kt3::tests::NoDescriptors;
using kt3::tests::OutputCapture;

namespace {

// A tool that signals this process when it waits for the rest of the text, and prints it once the signal was handled.
// The handler is one that interrupts system calls.
class InterruptingTool {
public:
    InterruptingTool(const std::string& text, const std::string& rest)
        : tool_(FakeDmidecode::running("printf '" + text + "'\n" + kSignalWhenWaiting + "printf '" + rest + "'")) {
        ::setenv("CLIENT", std::to_string(::getpid()).c_str(), 1);
        ::setenv("HANDLED", kernel_.real("/handled").c_str(), 1);
        struct sigaction action {};
        action.sa_handler = [](int) { ::syscall(SYS_close, ::syscall(SYS_creat, std::getenv("HANDLED"), 0600)); };
        ::sigaction(SIGUSR1, &action, nullptr);
    }
    [[nodiscard]] bool was_handled() const { return std::filesystem::exists(kernel_.real("/handled")); }

private:
    static constexpr const char* kSignalWhenWaiting = R"(
until read -r state < /proc/$CLIENT/stat && [ -z "${state##*) S *}" ]; do sleep 0.01; done
kill -USR1 $CLIENT
until [ -e "$HANDLED" ]; do sleep 0.01; done
)";
    kt3::tests::FakeKernel kernel_; // a folder that goes away
    FakeDmidecode tool_;
};

} // namespace

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

TEST(RunShellCommand, GoesOnAfterASignalOfTheClient) {
    const InterruptingTool tool("abc", "def");
    char buffer[16];
    EXPECT_EQ(runShellCommand("dmidecode", buffer, sizeof buffer), 6U);
    EXPECT_STREQ(buffer, "abcdef");
    EXPECT_TRUE(tool.was_handled());
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

TEST(MemoryType, IsReadAcrossASignalOfTheClient) {
    for (const auto& [text, rest] : {std::pair("Total Width: 64 bits\\n", "Type: DDR5\\n"),
                                     std::pair("Total Width: 64 bits\\nType: D", "DR5\\n")}) {
        const InterruptingTool tool(text, rest);
        EXPECT_EQ(runShellCommand_getMemoryTYpe(), 5U) << text;
        EXPECT_TRUE(tool.was_handled());
    }
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
