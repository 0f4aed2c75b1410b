// SPDX-License-Identifier: MIT
#include "observe/interrupt.hpp"

#include "observe/failure.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <vector>

namespace kt3::observe {
namespace {

struct Mark {
    volatile std::sig_atomic_t set = 0; // set by the handler, never cleared
    int wake[2] = {-1, -1};             // a pipe: a signal between a test of the mark and a wait ends the wait
};
constinit Mark mark;

extern "C" void kt3_note_signal(int) {
    const int saved = errno;
    mark.set = 1;
    [[maybe_unused]] const ssize_t written = ::write(mark.wake[1], "", 1);
    errno = saved;
}

} // namespace

void watch_for_interrupts() {
    if (::pipe2(mark.wake, O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    struct sigaction action {};
    action.sa_handler = kt3_note_signal; // without SA_RESTART: a blocked open gives up and the mark is seen
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        const bool ignored = ::sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
        if (!ignored) { // a background job of a shell, or nohup, asked not to be disturbed
            ::sigaction(signal, &action, nullptr);
        }
    }
    ::signal(SIGPIPE, SIG_IGN); // a reader that leaves shows as a write error, so accounting is still switched off
}

bool interrupted() {
    return mark.set != 0;
}

void check_interrupt() {
    if (interrupted()) {
        throw Interrupted{};
    }
}

bool wait_readable(std::span<const int> descriptors, double seconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    std::vector<pollfd> waited{{mark.wake[0], POLLIN, 0}}; // poll passes over negative ones
    for (const int descriptor : descriptors) {
        waited.push_back({descriptor, POLLIN, 0});
    }
    for (;;) {
        check_interrupt();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        ::poll(waited.data(), waited.size(), static_cast<int>(std::clamp<long long>(left, 0, 60'000)));
        if (std::any_of(waited.begin() + 1, waited.end(), [](const pollfd& one) { return one.revents != 0; })) {
            return true;
        }
        if (left <= 0) {
            check_interrupt();
            return false;
        }
    }
}

bool wait_readable(int descriptor, double seconds) {
    return wait_readable({&descriptor, 1}, seconds);
}

void sleep_or_interrupt(double seconds) {
    (void)wait_readable(std::span<const int>(), seconds);
}

} // namespace kt3::observe
