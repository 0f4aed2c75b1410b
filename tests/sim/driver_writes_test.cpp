// SPDX-License-Identifier: MIT
// Driver nodes answer writes as their driver does, however the text arrives.

#include "support/fake_kernel.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace kt3::tests;
using ::testing::ElementsAre;

struct DriverWrites : ::testing::Test {
    FakeKernel kernel;
    Adapter adapter = kernel.adapter("0000:03:00.0", Family::newer);

    std::string path(const char* node) const { return adapter.node_path(node); }
    void write(const char* node, std::string_view text) const {
        const int file = ::open(path(node).c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_GE(file, 0);
        EXPECT_EQ(::write(file, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        ::close(file);
    }
    std::string read(const char* node) const {
        std::ifstream in(path(node));
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

TEST_F(DriverWrites, AShorterTextLeavesNothingOfTheLongerPage) {
    adapter.node("misc_ctl_flag", "1234567\n");
    write("misc_ctl_flag", "5\n");
    EXPECT_EQ(read("misc_ctl_flag"), "5\n");
}

TEST_F(DriverWrites, ReachANodeOpenedRelativeToItsFolder) {
    adapter.node("enable_usage", "0\n");
    const int folder = ::open(adapter.node_path("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int file = ::openat(folder, "enable_usage", O_WRONLY | O_CLOEXEC);
    FILE* stream = ::fdopen(file, "w");
    ASSERT_NE(stream, nullptr);
    std::fputs("1", stream);
    std::fclose(stream);
    char text[8] = "";
    const int reader = ::openat(folder, "enable_usage", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(::read(reader, text, sizeof text), 1);
    EXPECT_STREQ(text, "1");
    ::close(reader);
    ::close(folder);
    EXPECT_THAT(kernel.writes_to(adapter, "enable_usage"), ElementsAre("1"));
}

TEST_F(DriverWrites, ReachANodeThroughStreams) {
    adapter.node("enable_usage", "0\n");
    FILE* stream = std::fopen(path("enable_usage").c_str(), "we");
    ASSERT_NE(stream, nullptr);
    std::fputs("1\n", stream);
    std::fclose(stream);
    EXPECT_EQ(read("enable_usage"), "1\n");
    std::ofstream(path("enable_usage")) << "0\n";
    EXPECT_EQ(read("enable_usage"), "0\n");
    EXPECT_THAT(kernel.writes_to(adapter, "enable_usage"), ElementsAre("1\n", "0\n"));
}

TEST_F(DriverWrites, TakeEffectWhenTheLastDescriptorIsClosed) {
    adapter.node("enable_usage", "0\n");
    const int file = ::open(path("enable_usage").c_str(), O_WRONLY | O_CLOEXEC);
    const int copy = ::dup(file);
    EXPECT_EQ(::write(file, "1", 1), 1);
    EXPECT_EQ(read("enable_usage"), "0\n");
    ::close(file);
    EXPECT_EQ(read("enable_usage"), "0\n");
    ::close(copy);
    EXPECT_EQ(read("enable_usage"), "1");
}

TEST_F(DriverWrites, AnUnfinishedWriteDoesNotHoldUpTheOthers) {
    adapter.node("enable_usage", "0\n").node("misc_ctl_flag", "0\n");
    const int unfinished = ::open(path("enable_usage").c_str(), O_WRONLY | O_CLOEXEC);
    write("misc_ctl_flag", "4\n");
    EXPECT_EQ(read("misc_ctl_flag"), "4\n");
    ::close(unfinished);
}

TEST_F(DriverWrites, AreRecordedInOrderWithTheNodesUsualPath) {
    adapter.node("enable_usage", "0\n").node("misc_ctl_flag", "0\n");
    write("misc_ctl_flag", "4\n");
    write("enable_usage", "\t\x01\"\\");
    std::ofstream("/sys/class/drm/card0/device/wy_info/misc_ctl_flag") << "6\n";
    const auto writes = kernel.writes();
    ASSERT_EQ(writes.size(), 3u);
    EXPECT_EQ(writes[0].path, "/sys/bus/pci/devices/0000:03:00.0/wy_info/misc_ctl_flag");
    EXPECT_EQ(writes[0].text, "4\n");
    EXPECT_EQ(writes[1].path, "/sys/bus/pci/devices/0000:03:00.0/wy_info/enable_usage");
    EXPECT_EQ(writes[1].text, "\t\x01\"\\");
    EXPECT_EQ(writes[2].path, writes[0].path);
    EXPECT_EQ(writes[2].text, "6\n");
}

TEST_F(DriverWrites, OpeningWithoutWritingTellsTheDriverNothing) {
    adapter.node("enable_usage", "1\n");
    ::close(::open(path("enable_usage").c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
    EXPECT_EQ(read("enable_usage"), "1\n");
    EXPECT_TRUE(kernel.writes().empty());
}

TEST_F(DriverWrites, NodesThatTheDriverDoesNotPublishCannotBeWritten) {
    errno = 0;
    EXPECT_EQ(::open(path("enable_usage").c_str(), O_WRONLY | O_CLOEXEC), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(::open(path("enable_usage").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(std::fopen(path("enable_usage").c_str(), "we"), nullptr);
}

TEST_F(DriverWrites, ToANodeThatNobodyMayWriteAreRefusedToRootAsWell) {
    adapter.node("misc_ctl_flag", "1\n");
    std::filesystem::permissions(kernel.real(path("misc_ctl_flag")), std::filesystem::perms(0444));
    errno = 0;
    EXPECT_EQ(::open(path("misc_ctl_flag").c_str(), O_WRONLY | O_CLOEXEC), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(read("misc_ctl_flag"), "1\n");
    EXPECT_TRUE(kernel.writes().empty());
}

TEST_F(DriverWrites, OfOtherProcessesAreSeenHere) {
    adapter.node("enable_usage", "0\n");
    const pid_t child = ::fork();
    if (child == 0) {
        const int file = ::open(path("enable_usage").c_str(), O_WRONLY | O_CLOEXEC);
        ::_exit(::write(file, "1\n", 2) == 2 ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read("enable_usage"), "1\n");
}

TEST_F(DriverWrites, OfFilesThatAreNoNodesStayPlain) {
    adapter.pci_file("power/control", "automatic");
    const std::string control = adapter.pci_path() + "/power/control";
    const int file = ::open(control.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(::write(file, "on", 2), 2);
    ::close(file);
    EXPECT_EQ(kernel.text(control), "ontomatic");
    EXPECT_TRUE(kernel.writes().empty());
}

struct CommandRow {
    const char* node;
    const char* page;
    const char* command;
    const char* page_after;

    // Names the case when it fails.
    friend void PrintTo(const CommandRow& row, std::ostream* out) { *out << row.node << ": " << row.command; }
};

class DriverCommands : public DriverWrites, public ::testing::WithParamInterface<CommandRow> {};

TEST_P(DriverCommands, ChangeThePage) {
    const CommandRow& row = GetParam();
    adapter.node(row.node, row.page);
    write(row.node, row.command);
    EXPECT_EQ(read(row.node), row.page_after);
    ASSERT_EQ(kernel.writes().size(), 1u);
    EXPECT_FALSE(kernel.writes()[0].refused);
}

constexpr char kGating[] = "pg_3d:0x10 cg_3d:0x20\npg_vcp:0x30 cg_vcp:0x40\npg_vpp:0x50 cg_vpp:0x60\n";
constexpr char kClocks[] = "gfx_clock:800\ngfx_voltage:900\n";

INSTANTIATE_TEST_SUITE_P(
    Nodes, DriverCommands,
    ::testing::Values(CommandRow{"power_mode", "power_mode:0x3\n", "0xff\n", "power_mode:0xff\n"},
                      CommandRow{"dvfs_mode", "dvfs_mode:0x12\n", "0x1\n", "dvfs_mode:0x1\n"},
                      CommandRow{"dvfs_level", "dvfs_level:balance\n", "performance\n", "dvfs_level:performance\n"},
                      CommandRow{"dvfs_level", "dvfs_level:performance", "lowpower\n", "dvfs_level:lowpower"},
                      CommandRow{"pwm_wait_count", kGating, "0 0 1\n",
                                 "pg_3d:0x1 cg_3d:0x20\npg_vcp:0x30 cg_vcp:0x40\npg_vpp:0x50 cg_vpp:0x60\n"},
                      CommandRow{"pwm_wait_count", kGating, "0 1 7f\n",
                                 "pg_3d:0x10 cg_3d:0x20\npg_vcp:0x7f cg_vcp:0x40\npg_vpp:0x50 cg_vpp:0x60\n"},
                      CommandRow{"pwm_wait_count", kGating, "0 2 8\n",
                                 "pg_3d:0x10 cg_3d:0x20\npg_vcp:0x30 cg_vcp:0x40\npg_vpp:0x8 cg_vpp:0x60\n"},
                      CommandRow{"pwm_wait_count", kGating, "1 0 ffffffff\n",
                                 "pg_3d:0x10 cg_3d:0xffffffff\npg_vcp:0x30 cg_vcp:0x40\npg_vpp:0x50 cg_vpp:0x60\n"},
                      CommandRow{"pwm_wait_count", kGating, "1 1 9\n",
                                 "pg_3d:0x10 cg_3d:0x20\npg_vcp:0x30 cg_vcp:0x9\npg_vpp:0x50 cg_vpp:0x60\n"},
                      CommandRow{"pwm_wait_count", kGating, " 1\t2  a",
                                 "pg_3d:0x10 cg_3d:0x20\npg_vcp:0x30 cg_vcp:0x40\npg_vpp:0x50 cg_vpp:0xa\n"},
                      CommandRow{"pwm_wait_count", kGating, "0 0 1\n1 0 2\n",
                                 "pg_3d:0x1 cg_3d:0x2\npg_vcp:0x30 cg_vcp:0x40\npg_vpp:0x50 cg_vpp:0x60\n"},
                      CommandRow{"dvfs_control_params", "gfx_dvfs_checksize:0x1\nvpp_dvfs_l_threshold:0x2\n", "3 2 5\n",
                                 "gfx_dvfs_checksize:0x1\nvpp_dvfs_l_threshold:0x5\n"},
                      CommandRow{"dvfs_control_params", "vcp0_dvfs_h_threshold:0x1 vcp1_dvfs_h_threshold:0x2\n",
                                 "2 1 14\n", "vcp0_dvfs_h_threshold:0x1 vcp1_dvfs_h_threshold:0x14\n"},
                      CommandRow{"dvfs_clk_voltage", kClocks, "c 0 650\n", "gfx_clock:650\ngfx_voltage:900\n"},
                      CommandRow{"dvfs_clk_voltage", kClocks, "v 0 -5\n", "gfx_clock:800\ngfx_voltage:-5\n"}));

class MalformedCommands : public DriverCommands {};

TEST_P(MalformedCommands, LeaveThePageAndAreRecorded) {
    const CommandRow& row = GetParam();
    adapter.node(row.node, row.page);
    write(row.node, row.command);
    EXPECT_EQ(read(row.node), row.page);
    const auto writes = kernel.writes();
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].text, row.command);
    EXPECT_TRUE(writes[0].refused);
}

INSTANTIATE_TEST_SUITE_P(Nodes, MalformedCommands,
                         ::testing::Values(CommandRow{"power_mode", "power_mode:0x3\n", "255\n", ""},
                                           CommandRow{"power_mode", "power_mode:0x3\n", "0x\n", ""},
                                           CommandRow{"power_mode", "another_key:0x3\n", "0x1\n", ""},
                                           CommandRow{"dvfs_level", "dvfs_level:balance\n", "fast\n", ""},
                                           CommandRow{"dvfs_level", "dvfs_level:balance\n", "\n", ""},
                                           CommandRow{"pwm_wait_count", kGating, "0 3 7f\n", ""},
                                           CommandRow{"pwm_wait_count", kGating, "2 0 7f\n", ""},
                                           CommandRow{"pwm_wait_count", kGating, "0 1\n", ""},
                                           CommandRow{"pwm_wait_count", kGating, "0 1 xyz\n", ""},
                                           CommandRow{"pwm_wait_count", kGating, "0 1 123456789\n", ""},
                                           CommandRow{"pwm_wait_count", kGating, "0 0 1\nrubbish\n", ""},
                                           CommandRow{"dvfs_clk_voltage", kClocks, "c 1 650\n", ""},
                                           CommandRow{"dvfs_clk_voltage", kClocks, "c 0 6f\n", ""}));

} // namespace
