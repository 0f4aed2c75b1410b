// SPDX-License-Identifier: MIT
#pragma once
// A machine that has run out of descriptors: while this lives none can be opened, so that no pipe can either.

#include <sys/resource.h>

namespace kt3::tests {

class NoDescriptors {
public:
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        rlimit none = before_;
        none.rlim_cur = 0;
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit before_{};
};

} // namespace kt3::tests
