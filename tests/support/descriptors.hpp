#pragma once
// How many descriptors this process holds, to see that none is left behind.

#include <dirent.h>
#include <memory>

namespace kt3::tests {

inline int open_descriptors() {
    const std::unique_ptr<DIR, int (*)(DIR*)> self(::opendir("/proc/self/fd"), ::closedir);
    int count = 0;
    while (::readdir(self.get()) != nullptr) {
        ++count;
    }
    return count - 3; // ".", ".." and the listing itself
}

} // namespace kt3::tests
