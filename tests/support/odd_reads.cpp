// SPDX-License-Identifier: MIT
#include "support/odd_reads.hpp"

#include <algorithm>
#include <cerrno>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace kt3::tests {

OddReads& odd_reads() {
    static OddReads reads;
    return reads;
}

} // namespace kt3::tests

// In place of the C library's.
extern "C" ssize_t read(int file, void* buffer, std::size_t size) {
    kt3::tests::OddReads& odd = kt3::tests::odd_reads();
    ++odd.made;
    if (odd.to_interrupt > 0) {
        --odd.to_interrupt;
        errno = EINTR;
        return -1;
    }
    if (odd.good_left >= 0 && odd.good_left-- == 0) {
        errno = EIO;
        return -1;
    }
    return ::syscall(SYS_read, file, buffer, odd.at_most == 0 ? size : std::min(size, odd.at_most));
}
