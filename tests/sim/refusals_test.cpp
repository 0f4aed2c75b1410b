// SPDX-License-Identifier: MIT
// Files that the machine keeps from its user, root included.

#include "support/fake_kernel.hpp"

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace kt3::tests;

constexpr char kNode[] = "/sys/bus/pci/devices/0000:03:00.0/wy_info/eclk";

// Clears errno, so that the refusal is what the call itself reports.
template<typename Call>
int error_of(Call call) {
    errno = 0;
    call();
    return errno;
}

TEST(Refusals, KeepAFileFromEveryWayOfOpeningIt) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer).node("eclk", "800\n");
    kernel.refuse(kNode);
    const int folder = ::open("/sys/bus/pci/devices/0000:03:00.0/wy_info", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(folder, 0);
    EXPECT_EQ(error_of([] { ::open(kNode, O_RDONLY | O_CLOEXEC); }), EACCES);
    EXPECT_EQ(error_of([] { ::open(kNode, O_WRONLY | O_CLOEXEC); }), EACCES);
    EXPECT_EQ(error_of([folder] { ::openat(folder, "eclk", O_RDONLY | O_CLOEXEC); }), EACCES);
    EXPECT_EQ(error_of([] { std::fopen(kNode, "re"); }), EACCES);
    EXPECT_EQ(error_of([] { std::fopen("/sys/class/drm/card0/device/wy_info/eclk", "re"); }), EACCES);
    EXPECT_EQ(error_of([] { ::access(kNode, R_OK); }), EACCES);
    EXPECT_EQ(error_of([] { ::access(kNode, F_OK); }), 0);
    struct stat status {};
    EXPECT_EQ(::stat(kNode, &status), 0);
    ::close(folder);
}

TEST(Refusals, KeepEverythingBeneathAFolder) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer).debugfs_info("VA=1\n");
    kernel.refuse("/sys/kernel/debug");
    struct stat status {};
    EXPECT_EQ(error_of([] { ::opendir("/sys/kernel/debug"); }), EACCES);
    EXPECT_EQ(error_of([] { ::open("/sys/kernel/debug/dri/0/wy/info", O_RDONLY | O_CLOEXEC); }), EACCES);
    EXPECT_EQ(error_of([&status] { ::stat("/sys/kernel/debug/dri", &status); }), EACCES);
    EXPECT_EQ(::stat("/sys/kernel/debug", &status), 0);
}

TEST(Refusals, LeaveTheRestOfTheMachineOpen) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer).node("eclk", "800\n").node("eclk2", "1\n");
    kernel.refuse(kNode);
    EXPECT_EQ(::access("/sys/bus/pci/devices/0000:03:00.0/wy_info/eclk2", R_OK), 0);
    EXPECT_EQ(::access("/sys/bus/pci/devices/0000:03:00.0/wy_info", R_OK), 0);
}

} // namespace
