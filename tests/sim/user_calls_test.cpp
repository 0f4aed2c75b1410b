// SPDX-License-Identifier: MIT
// A machine has users of its own, or those of the real one.

#include "support/fake_kernel.hpp"

#include <array>
#include <cerrno>
#include <gtest/gtest.h>
#include <pwd.h>

namespace {

using kt3::tests::FakeKernel;

// Empty when there is no such user.
std::string name_of(uid_t user) {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 4096> buffer{};
    EXPECT_EQ(::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found), 0);
    return found == nullptr ? "" : found->pw_name;
}

TEST(UserNames, AreThoseOfTheMachine) {
    FakeKernel kernel;
    kernel.machine().users("first:x:7:7::/:/bin/sh\nada:x:4000000000:8::/home/ada:/bin/sh\n");
    EXPECT_EQ(name_of(7), "first");
    EXPECT_EQ(name_of(4'000'000'000), "ada");
    EXPECT_EQ(name_of(0), "");
}

TEST(UserNames, AreTheRealOnesOfAMachineThatBringsNone) {
    const FakeKernel kernel;
    EXPECT_EQ(name_of(0), "root");
}

TEST(UserNames, ThatDoNotFitTheBufferAreAnError) {
    FakeKernel kernel;
    kernel.machine().users("ada:x:7:7::/home/ada:/bin/sh\n");
    passwd entry{};
    passwd* found = &entry;
    std::array<char, 4> buffer{};
    EXPECT_EQ(::getpwuid_r(7, &entry, buffer.data(), buffer.size(), &found), ERANGE);
    EXPECT_EQ(found, nullptr);
}

} // namespace
