// SPDX-License-Identifier: MIT
#pragma once
// The descriptors of this process: how many it holds, to see that none is left behind, and what they are.

#include <dirent.h>
#include <memory>
#include <string>
#include <unistd.h>

namespace kt3::tests {

inline int open_descriptors() {
    const std::unique_ptr<DIR, int (*)(DIR*)> self(::opendir("/proc/self/fd"), ::closedir);
    int count = 0;
    while (::readdir(self.get()) != nullptr) {
        ++count;
    }
    return count - 3; // ".", ".." and the listing itself
}

// The path that a descriptor was opened by; empty when it is not open.
inline std::string target_of(int descriptor) {
    char target[4096] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    return ::readlink(link.c_str(), target, sizeof target - 1) < 0 ? "" : target;
}

} // namespace kt3::tests
