// SPDX-License-Identifier: MIT
#pragma once
// Whose open devices are now. A driver keeps the pid of whoever opened a device, also when that process has ended and
// its pid belongs to another one.

#include "observe/memory/allocations.hpp"
#include "observe/owner/attribution.hpp"

namespace kt3::observe {

[[nodiscard]] std::vector<std::int32_t> pids_of(const OpenDevices& devices);

// Takes the names away that are not those of the owners, gives nameless ones the kernel's, and marks whose owners have
// ended: they are no more, or the process with their pid started after the device was opened.
void settle(OpenDevices& devices, const Attributions& attributions);

// What is known of the owner; nothing of one that has ended, whoever has its pid now.
[[nodiscard]] Attribution attribution_of(const Owner& owner, const Attributions& attributions);

// Whether the owner has ended and another process has its pid.
[[nodiscard]] bool is_replaced(const Owner& owner, const Attributions& attributions);

} // namespace kt3::observe
