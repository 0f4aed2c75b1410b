// SPDX-License-Identifier: MIT
#include "support/descriptors.hpp"
#include "support/log_capture.hpp"
#include "vmdump/client_owner.hpp"
#include "vmdump/vm_kernel.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kt3::tests;
using testing::KilledBySignal;

namespace {

class Owner : public testing::Test {
protected:
    // The result for an info file with that text; the record keeps what was found.
    int read_info(const std::string& text) {
        kernel.file(kDriver + "/info", text);
        std::string path = kDriver + "/info";
        return get_Pid_info(&record, path.data());
    }
    int ask(const std::string& pid) {
        std::strcpy(record.pid, pid.c_str());
        return get_AppName_info(&record);
    }
    VmKernel kernel;
    data_vectors record = create_vector();
};

} // namespace

TEST_F(Owner, IsOnTheFirstLineThatHoldsPid) {
    EXPECT_EQ(read_info("name = x\nhandle = 3\npid = 4711 \t\r\npid = 5\n"), 0);
    EXPECT_STREQ(record.pid, "4711");
}

TEST_F(Owner, IsEmptyWhenTheFirstSuchLineHasAnotherShape) {
    std::strcpy(record.pid, "old");
    EXPECT_EQ(read_info("rapid growth\npid = 5\n"), 0);
    EXPECT_STREQ(record.pid, "");
}

TEST_F(Owner, IsLeftAloneWithoutAPidLine) {
    std::strcpy(record.pid, "old");
    EXPECT_EQ(read_info("name = x\n"), 0);
    EXPECT_STREQ(record.pid, "old");
    EXPECT_EQ(read_info(""), 0);
    EXPECT_STREQ(record.pid, "old");
}

TEST_F(Owner, IsReadFromALineOfAtMostFiveHundredAndElevenCharacters) {
    EXPECT_EQ(read_info(repeated(505, '.') + "pid = 77\n"), 0);
    EXPECT_STREQ(record.pid, ""); // "pid = " ends the first piece
    EXPECT_EQ(read_info(repeated(511, '.') + "pid = 77\n"), 0);
    EXPECT_STREQ(record.pid, "77");
}

TEST_F(Owner, IsNotSeenBehindAZeroByte) {
    EXPECT_EQ(read_info(std::string("x\0pid = 1\npid = 2\n", 18)), 0);
    EXPECT_STREQ(record.pid, "2");
}

TEST_F(Owner, OfFortySevenCharactersFitsAndALongerOneEndsTheProcess) {
    EXPECT_EQ(read_info("pid = " + repeated(47, '1') + "\n"), 0);
    EXPECT_EQ(std::strlen(record.pid), 47U);
    EXPECT_EXIT(read_info("pid = " + repeated(48, '1') + "\n"), KilledBySignal(SIGABRT), "pid of 48 characters");
}

TEST_F(Owner, GivesMinusOneAndALineWhenTheFileCannotBeOpened) {
    OutputCapture output;
    std::string path = kDriver + "/none";
    EXPECT_EQ(get_Pid_info(&record, path.data()), -1);
    EXPECT_EQ(output.text(), "Fail to read pid info. skip...\n");
}

TEST_F(Owner, LeavesNoDescriptorBehind) {
    const int before = open_descriptors();
    for (int i = 0; i < 20; ++i) {
        read_info("pid = 1\n");
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Owner, NameIsZeroForTheProcessZeroWithoutAsking) {
    EXPECT_EQ(ask("0"), 0);
    EXPECT_STREQ(record.app_name, "0");
    EXPECT_EQ(kernel.asked(), "");
}

TEST_F(Owner, NameComesFromPsWithoutItsLastNewline) {
    kernel.process("4711", "game\n").process("12", "two\nlines\n\n").process("13", "plain");
    EXPECT_EQ(ask("4711"), 0);
    EXPECT_STREQ(record.app_name, "game");
    EXPECT_EQ(ask("12"), 0);
    EXPECT_STREQ(record.app_name, "two\nlines\n");
    EXPECT_EQ(ask("13"), 0);
    EXPECT_STREQ(record.app_name, "plain");
    EXPECT_EQ(kernel.asked(), "ps -p 4711 -o comm=\nps -p 12 -o comm=\nps -p 13 -o comm=\n");
}

TEST_F(Owner, NameIsEmptyForAProcessThatHasGone) {
    std::strcpy(record.app_name, "old");
    EXPECT_EQ(ask("99"), 0);
    EXPECT_STREQ(record.app_name, "");
}

namespace {

char handled[256]; // a folder that appears when the signal has been handled

} // namespace

// ps sends the signal as soon as the process sleeps, which it does only in the read of the pipe.
TEST_F(Owner, NameIsReadOnAfterASignalThatTheClientHandles) {
    std::strcpy(handled, kernel.real("/handled").c_str());
    kernel.file("/bin/ps", "#!/bin/sh\nuntil grep -q 'State:.S' /proc/" + std::to_string(::getpid()) +
                               "/status; do :; done\nkill -USR1 " + std::to_string(::getpid()) + "\nuntil [ -d " +
                               handled + " ]; do :; done\necho game\n");
    struct sigaction action = {};
    action.sa_handler = [](int) { ::mkdir(handled, 0700); };
    struct sigaction before = {};
    ::sigaction(SIGUSR1, &action, &before);
    EXPECT_EQ(ask("4711"), 0);
    ::sigaction(SIGUSR1, &before, nullptr);
    EXPECT_STREQ(record.app_name, "game");
}

TEST_F(Owner, NameEndsAtAZeroByte) {
    kernel.process("4711", std::string("game\0x\n", 7));
    EXPECT_EQ(ask("4711"), 0);
    EXPECT_STREQ(record.app_name, "game");
}

TEST_F(Owner, NameGivesMinusOneAndPrintsNothingWhenNoPipeCanBeOpened) {
    data_vectors unknown = create_vector();
    std::strcpy(unknown.pid, "4711");
    data_vectors driver = create_vector();
    std::strcpy(driver.pid, "0");
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    OutputCapture output;
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    // Nothing but the two calls: the sanitizers open pipes of their own.
    const int status = get_AppName_info(&unknown);
    const int no_pipe_needed = get_AppName_info(&driver);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(no_pipe_needed, 0);
    EXPECT_STREQ(driver.app_name, "0");
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(kernel.asked(), "");
}

TEST_F(Owner, NameIsAskedForEvenWithoutAnId) {
    EXPECT_EQ(ask(""), 0);
    EXPECT_STREQ(record.app_name, "");
    EXPECT_EQ(kernel.asked(), "ps -p -o comm=\n");
}

TEST_F(Owner, NameOfFortySevenCharactersFitsAndALongerOneEndsTheProcess) {
    kernel.process("1", repeated(47, 'n') + "\n").process("2", repeated(48, 'n') + "\n");
    EXPECT_EQ(ask("1"), 0);
    EXPECT_EQ(std::strlen(record.app_name), 47U);
    EXPECT_EXIT(ask("2"), KilledBySignal(SIGABRT), "app_name of 48 characters");
}

TEST_F(Owner, NameStartsNoShellForAnIdThatAShellWouldAct) {
    const std::string trap = kernel.real("/trap").string();
    kernel.file(kDriver + "/info", "name = pid = 1;>" + trap + "\npid = 7\n");
    std::string path = kDriver + "/info";
    // The whole forged id does not fit its field, so a shorter trap with the same characters is set by hand.
    const std::string forged = "1;>x";
    std::filesystem::current_path(kernel.root());
    EXPECT_EQ(ask(forged), 0);
    EXPECT_STREQ(record.app_name, "");
    EXPECT_FALSE(std::filesystem::exists("x"));
    EXPECT_EQ(kernel.asked(), "");
}

TEST_F(Owner, NameStartsNoShellForAForgedIdInTheInfoFile) {
    std::filesystem::current_path(kernel.root());
    EXPECT_EQ(read_info("name = pid = 1;>x\npid = 7\n"), 0);
    EXPECT_STREQ(record.pid, "1;>x");
    EXPECT_EQ(get_AppName_info(&record), 0);
    EXPECT_STREQ(record.app_name, "");
    EXPECT_FALSE(std::filesystem::exists("x"));
}

TEST_F(Owner, NameIsRefusedForEveryCharacterThatIsNotHarmless) {
    for (int c = 1; c < 256; ++c) {
        const bool harmless = std::isalnum(c) != 0 || std::strchr(" \t_.,+-", c) != nullptr;
        std::strcpy(record.pid, "1");
        record.pid[0] = static_cast<char>(c);
        const auto query = kt3::vmdump::ask_process_name(record);
        const bool given = c == '0';
        EXPECT_EQ(query.way == kt3::vmdump::NameQuery::Way::asked, harmless && !given) << c;
    }
}

TEST_F(Owner, NameLookupLeavesNoDescriptorBehind) {
    const int before = open_descriptors();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(ask("99"), 0);
    }
    EXPECT_EQ(open_descriptors(), before);
}
