#pragma once
// SIGINT, SIGTERM and SIGHUP only leave a mark; the main path finds it, undoes what it did and ends with status 130.

namespace kt3::cli {

void watch_for_interrupts();

[[nodiscard]] bool interrupted();

// Throws Interrupted once a signal has come.
void check_interrupt();

// Waits; throws Interrupted as soon as a signal comes.
void sleep_or_interrupt(double seconds);

} // namespace kt3::cli
