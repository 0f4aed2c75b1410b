// SPDX-License-Identifier: MIT
#pragma once
// System calls that a signal handler of the client may interrupt.

#include <cerrno>

namespace kt3::support {

// Makes the call until it ends with anything but an interruption.
template<typename Call>
auto repeat_interrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) {
            return result;
        }
    }
}

} // namespace kt3::support
