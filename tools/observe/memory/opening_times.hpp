// SPDX-License-Identifier: MIT
#pragma once
// When devices were opened. Drivers do not write it, but debugfs gives each page the time at which it was made.

#include "observe/memory/allocations.hpp"

namespace kt3::observe {

// Of those devices whose page can be read.
void take_opening_times(const Adapter& adapter, OpenDevices& devices);

// The device that a page names, "handle = a0" with hexadecimal digits.
[[nodiscard]] std::optional<std::int32_t> device_in(std::string_view page);

} // namespace kt3::observe
