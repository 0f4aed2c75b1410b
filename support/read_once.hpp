#pragma once
// For readers that stop as soon as they know enough.

#include <cerrno>
#include <cstddef>
#include <unistd.h>

namespace kt3::support {

// What one read gives, repeated only when a signal of the client interrupts it: bytes, 0 at the end, -1 for an error.
inline ssize_t read_once(int file, char* buffer, std::size_t size) {
    ssize_t got = 0;
    do {
        got = ::read(file, buffer, size);
    } while (got < 0 && errno == EINTR);
    return got;
}

} // namespace kt3::support
