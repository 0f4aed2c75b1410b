// SPDX-License-Identifier: MIT
#pragma once
// Facts about the memory devices, from the system's "dmidecode" run through a read pipe. A command that cannot be
// started is reported on standard output. Children inherit standard streams only.

#include <cstddef>
#include <cstdint>

namespace kt3::summary {

// Zeroes the buffer and fills it with up to size - 1 bytes of what the command prints; returns the bytes read, or 1
// when the command cannot be started.
std::uint32_t run_shell_command(const char* command, char* buffer, std::uint32_t size);

// MT/s as configured; 0 when the tool prints none.
std::uint32_t configured_memory_speed();

// 4 or 5, and bits. 1 when the tool cannot be started.
std::uint32_t read_memory_generation();
std::uint32_t read_bus_width();

} // namespace kt3::summary
