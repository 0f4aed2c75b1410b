// SPDX-License-Identifier: MIT
#pragma once
// A walk of a driver's folders fails when an object is freed meanwhile. The next try no longer finds it.

#include <cerrno>
#include <chrono>
#include <ctime>

namespace kt3::support {

// Waits for the whole time: a signal that the client handles meanwhile does not end it.
inline void pause_for(std::chrono::milliseconds time) {
    constexpr long kSecond = 1'000'000'000;
    timespec end = {};
    ::clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_nsec += std::chrono::nanoseconds(time).count();
    end.tv_sec += end.tv_nsec / kSecond;
    end.tv_nsec %= kSecond;
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

// Calls `walk` up to ten times, until it gives true, with a pause after every failure, the tenth included.
template<typename Walk>
bool walk_with_retries(std::chrono::milliseconds pause, Walk walk) {
    for (int tries = 0; tries < 10; ++tries) {
        if (walk()) {
            return true;
        }
        pause_for(pause);
    }
    return false;
}

} // namespace kt3::support
