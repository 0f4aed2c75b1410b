// SPDX-License-Identifier: MIT
#pragma once
// Work that has to happen in a process of its own.

#include <functional>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kt3::tests {

// Runs `work` in a child and returns its status as waitpid gives it. A child that gets to the end of it exits with 0.
inline int in_child(const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

inline void expect_clean_end(int status) {
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

} // namespace kt3::tests
