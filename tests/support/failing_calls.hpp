// SPDX-License-Identifier: MIT
#pragma once
// System calls that fail on demand, as they do on a broken disk or under a sandbox. For child processes that end soon:
// what fails goes on to fail until the process ends.

#include "support/in_child.hpp"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <memory>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace kt3::tests {

// Which of the calls fail: `times` of them, after the first `passed`.
struct Failures {
    int error;
    int passed = 0;
    int times = INT_MAX;
};

inline constexpr int kNoListenerYet = -2;

// Makes system calls of this number fail when this thread makes them. False when the kernel does not permit that.
inline bool make_fail(long number, Failures failures) {
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    const auto listener = std::make_shared<std::atomic<int>>(kNoListenerYet);
    // Answers the calls. It is started before the filter is installed, so that its own calls are not filtered.
    std::thread([failures, listener]() mutable {
        listener->wait(kNoListenerYet);
        while (*listener >= 0) {
            seccomp_notif call{};
            if (::ioctl(*listener, SECCOMP_IOCTL_NOTIF_RECV, &call) != 0) {
                continue;
            }
            const bool fails = failures.passed-- <= 0 && failures.times-- > 0;
            seccomp_notif_resp answer{};
            answer.id = call.id;
            answer.error = fails ? -failures.error : 0;
            answer.flags = fails ? 0 : static_cast<__u32>(SECCOMP_USER_NOTIF_FLAG_CONTINUE);
            ::ioctl(*listener, SECCOMP_IOCTL_NOTIF_SEND, &answer);
        }
    }).detach();
    const auto wanted = static_cast<__u32>(number);
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<__u32>(offsetof(seccomp_data, nr))),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, wanted, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{4, steps};
    *listener =
        static_cast<int>(::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter));
    listener->notify_one();
    return *listener >= 0;
}

inline bool calls_can_be_made_to_fail() {
    return in_child([] { ::_exit(make_fail(SYS_getppid, {EPERM}) && ::syscall(SYS_getppid) == -1 ? 0 : 1); }) == 0;
}

} // namespace kt3::tests
