// SPDX-License-Identifier: MIT
#pragma once
// While this lives, reads give a few bytes at a time, and fail when a test asks for it. Stands in for the C library's
// read, so one file of a test program may include it.

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <sys/syscall.h>
#include <unistd.h>

namespace kt3::tests {

class FaultyReads {
public:
    explicit FaultyReads(std::size_t at_most) : at_most_(at_most) { running() = this; }
    // The given number of reads, then one that fails with EIO.
    FaultyReads(std::size_t at_most, int good_reads) : FaultyReads(at_most) { good_reads_ = good_reads; }
    ~FaultyReads() { running() = nullptr; }
    FaultyReads(const FaultyReads&) = delete;
    FaultyReads& operator=(const FaultyReads&) = delete;

    ssize_t read(int file, void* buffer, std::size_t size) {
        if (good_reads_ == made_++) {
            errno = EIO;
            return -1;
        }
        return ::syscall(SYS_read, file, buffer, std::min(size, at_most_));
    }
    [[nodiscard]] int made() const { return made_; }

    static FaultyReads*& running() {
        static FaultyReads* reads = nullptr;
        return reads;
    }

private:
    std::size_t at_most_;
    int good_reads_ = -1;
    int made_ = 0;
};

} // namespace kt3::tests

extern "C" ssize_t read(int file, void* buffer, std::size_t size) {
    auto* reads = kt3::tests::FaultyReads::running();
    return reads == nullptr ? ::syscall(SYS_read, file, buffer, size) : reads->read(file, buffer, size);
}
