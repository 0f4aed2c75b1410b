// SPDX-License-Identifier: MIT
#pragma once
// SIGINT, SIGTERM and SIGHUP only leave a mark; the main path finds it, undoes what it did and ends with status 130.

#include <span>

namespace kt3::observe {

void watch_for_interrupts();

[[nodiscard]] bool interrupted();

// Throws Interrupted once a signal has come.
void check_interrupt();

// Waits; throws Interrupted as soon as a signal comes.
void sleep_or_interrupt(double seconds);

// Waits until the descriptor can be read or its other end is closed; false when the time is over before that. Throws
// Interrupted as soon as a signal comes.
[[nodiscard]] bool wait_readable(int descriptor, double seconds);

// The same for several descriptors: true as soon as one of them can be read or is closed.
[[nodiscard]] bool wait_readable(std::span<const int> descriptors, double seconds);

} // namespace kt3::observe
