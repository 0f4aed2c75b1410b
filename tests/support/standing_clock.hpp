// SPDX-License-Identifier: MIT
#pragma once
// A clock that stands still while this lives, but for pauses: they take no time, and three signals interrupt each of
// them first. Stands in for the C library's calls, so one file of a test program may include it.

#include <cerrno>
#include <ctime>
#include <functional>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace kt3::tests {

class StandingClock {
public:
    StandingClock() { running() = this; }
    ~StandingClock() { running() = nullptr; }
    StandingClock(const StandingClock&) = delete;
    StandingClock& operator=(const StandingClock&) = delete;

    std::vector<long> pauses;           // in microseconds
    std::function<void()> during_pause; // what the driver does then

    [[nodiscard]] long now() const { return now_; }
    int wait_until(long end) {
        if (interruptions_ > 0) {
            --interruptions_;
            now_ += (end - now_) / 2;
            return EINTR;
        }
        pauses.push_back((end - start_) / 1000);
        now_ = start_ = end;
        interruptions_ = kInterruptions;
        if (during_pause) {
            during_pause();
        }
        return 0;
    }

    static StandingClock*& running() {
        static StandingClock* clock = nullptr;
        return clock;
    }

private:
    static constexpr int kInterruptions = 3;
    long now_ = 1'999'000'000; // nanoseconds, shortly before a full second
    long start_ = now_;        // of the pause to come
    int interruptions_ = kInterruptions;
};

} // namespace kt3::tests

extern "C" int clock_gettime(clockid_t which, timespec* time) noexcept {
    const auto* clock = kt3::tests::StandingClock::running();
    if (clock == nullptr) {
        return static_cast<int>(::syscall(SYS_clock_gettime, which, time));
    }
    *time = {clock->now() / 1'000'000'000, clock->now() % 1'000'000'000};
    return 0;
}

extern "C" int clock_nanosleep(clockid_t which, int flags, const timespec* end, timespec* left) {
    auto* clock = kt3::tests::StandingClock::running();
    if (clock == nullptr || flags != TIMER_ABSTIME) {
        return ::syscall(SYS_clock_nanosleep, which, flags, end, left) == 0 ? 0 : errno;
    }
    return clock->wait_until(end->tv_sec * 1'000'000'000 + end->tv_nsec);
}
