// SPDX-License-Identifier: MIT
#pragma once
// Reads as a kernel may let them go: interrupted, short or failed. A test program that lists odd_reads.cpp among its
// sources reads through it.

#include <cstddef>

namespace kt3::tests {

struct OddReads {
    int made = 0;            // reads so far
    int to_interrupt = 0;    // reads still to be interrupted
    std::size_t at_most = 0; // bytes a read gives at most; 0 for no limit
    int good_left = -1;      // reads before one fails with EIO; -1 for no failure
};
OddReads& odd_reads();

} // namespace kt3::tests
