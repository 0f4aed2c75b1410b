// SPDX-License-Identifier: MIT
// Files that answer late, never or no longer.

#include "support/fake_kernel.hpp"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace kt3::tests;

struct FailingNodes : ::testing::Test {
    FakeKernel kernel;
    Adapter adapter = kernel.adapter("0000:03:00.0", Family::newer).node("eclk", "800\n").node("mclk", "1600\n");

    [[nodiscard]] int error_of(const char* node) const {
        errno = 0;
        const int file = ::open(adapter.node_path(node).c_str(), O_RDONLY | O_CLOEXEC);
        const int error = errno;
        ::close(file);
        return file >= 0 ? 0 : error;
    }
};

// A child that reads the node; true when it is stopped in the opening, which its system call shows.
bool hangs(const std::string& node, int flags = O_RDONLY) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(::open(node.c_str(), flags | O_CLOEXEC) >= 0 ? 0 : 1);
    }
    const std::string state = "/proc/" + std::to_string(child) + "/syscall";
    int status = 0;
    for (;;) {
        if (::waitpid(child, &status, WNOHANG) == child) {
            return false;
        }
        char text[64] = "";
        if (FILE* file = std::fopen(state.c_str(), "re")) {
            const bool in_open = std::fgets(text, sizeof text, file) != nullptr && std::atoi(text) == 257; // openat
            std::fclose(file);
            if (in_open) {
                break;
            }
        }
        ::usleep(1000);
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    return true;
}

TEST_F(FailingNodes, ALostNodeFailsFromItsNthReadingOn) {
    kernel.machine().lose(adapter.node_path("eclk"), 3, ENODEV);
    EXPECT_EQ(error_of("eclk"), 0);
    EXPECT_EQ(error_of("eclk"), 0);
    EXPECT_EQ(error_of("eclk"), ENODEV);
    EXPECT_EQ(error_of("eclk"), ENODEV);
    EXPECT_EQ(error_of("mclk"), 0);
}

TEST_F(FailingNodes, StreamsAndLinksReachALostNodeAsWell) {
    kernel.machine().lose(adapter.node_path("eclk"), 1, EIO);
    errno = 0;
    EXPECT_EQ(std::fopen(adapter.node_path("eclk").c_str(), "re"), nullptr);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(::open("/sys/class/drm/card0/device/wy_info/eclk", O_RDONLY | O_CLOEXEC), -1);
    const int folder = ::open(adapter.node_path("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    EXPECT_EQ(::openat(folder, "eclk", O_RDONLY | O_CLOEXEC), -1);
    ::close(folder);
}

TEST_F(FailingNodes, AFolderStandsForAllItsFilesTogether) {
    kernel.machine().lose(adapter.node_path(""), 2, ENODEV);
    EXPECT_EQ(error_of("eclk"), 0);
    EXPECT_EQ(error_of("mclk"), ENODEV);
}

TEST_F(FailingNodes, ALostNodeStillTakesWrites) {
    kernel.machine().lose(adapter.node_path("eclk"), 1, EIO);
    const int file = ::open(adapter.node_path("eclk").c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_GE(file, 0);
    ::close(file);
}

TEST_F(FailingNodes, ASilentNodeHoldsItsReaderInTheOpening) {
    kernel.machine().slow(adapter.node_path("eclk"), kt3::sim::kForever);
    EXPECT_TRUE(hangs(adapter.node_path("eclk")));
    EXPECT_TRUE(hangs(adapter.node_path("eclk"), O_RDONLY | O_NONBLOCK)) << "drivers know no impatience";
    EXPECT_FALSE(hangs(adapter.node_path("mclk")));
}

TEST_F(FailingNodes, ASlowNodeAnswersAfterItsTime) {
    kernel.machine().slow(adapter.node_path("eclk"), 30);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(error_of("eclk"), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST_F(FailingNodes, ListsWrittenByHandCountOnceTheyAreTakenUp) {
    kernel.file("/lost-nodes", adapter.node_path("eclk") + "\t1\t19\n" + "no entry at all\n");
    EXPECT_EQ(error_of("eclk"), 0);
    kt3::sim::take_up_failing_nodes(kernel.root());
    EXPECT_EQ(error_of("eclk"), ENODEV);
    EXPECT_EQ(error_of("mclk"), 0);
}

TEST_F(FailingNodes, WithoutListsNothingIsAsked) {
    EXPECT_FALSE(kt3::sim::anything_fails(kernel.root().string()));
}

} // namespace
