// SPDX-License-Identifier: MIT
// Clients that call in when the library's containers are gone already. Each runs in a process of its own.

#include "config/home_folder.hpp"

#include <array>
#include <cstdio>
#include <gmock/gmock.h>
#include <sys/wait.h>

using kt3::tests::HomeFolder;
using testing::EndsWith;

namespace {

constexpr const char* kKeptOnly = "; tqm_gfx_util.ini\n\n[kept]\nFullPath = /bin/kept\nPreferGpuName = \n"
                                  "PreferGpuBusID = 0000:00:00.0\nGpuPrefer = 0\n\n\n";

// What the command writes to standard output; the test fails unless it ends with 0.
std::string run(const std::string& command) {
    FILE* pipe = ::popen(command.c_str(), "r");
    std::string text;
    std::array<char, 512> piece{};
    while (pipe != nullptr && std::fgets(piece.data(), piece.size(), pipe) != nullptr) {
        text += piece.data();
    }
    const int status = pipe == nullptr ? -1 : ::pclose(pipe);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command << ": status " << status;
    return text;
}

std::string run_opening_client(const char* mode) {
    return run(std::string(KT3_OPENING_EXIT_CLIENT " ") + mode + " " KT3_LIBRARY);
}

} // namespace

TEST(ExitOrder, ALinkedClientThatCallsInAfterTheContainersAreGoneFreesNothingTwiceAndKeepsItsFile) {
    HomeFolder home;
    EXPECT_THAT(run(KT3_LINKED_EXIT_CLIENT), EndsWith("uninit_100_priority.\nexit handler\n"));
    EXPECT_EQ(home.text(), kKeptOnly);
}

TEST(ExitOrder, ObjectsOlderThanAnOpenedLibraryMayCallInAtExit) {
    HomeFolder home;
    EXPECT_THAT(run_opening_client("open"), EndsWith("exit handler\nolder object\nunload\nuninit_100_priority.\n"));
    EXPECT_EQ(home.text(), kKeptOnly);
}

TEST(ExitOrder, ObjectsOlderThanALibraryThatStaysMappedMayCallInAtExit) {
    HomeFolder home;
    EXPECT_THAT(run_opening_client("keep"), EndsWith("exit handler\nolder object\nunload\nuninit_100_priority.\n"));
    EXPECT_EQ(home.text(), kKeptOnly);
}

TEST(ExitOrder, ALibraryThatIsClosedBeforeTheExitLeavesNothing) {
    HomeFolder home;
    EXPECT_THAT(run_opening_client("close"), EndsWith("uninit_100_priority.\n"));
    EXPECT_EQ(home.text(), kKeptOnly);
}
