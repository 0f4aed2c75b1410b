// SPDX-License-Identifier: MIT
#pragma once
// The short name under which a process is shown.

#include <cstdint>
#include <string_view>

namespace kt3::allocation {

// The first argument itself when it is shorter than `limit`, else its part after the last "/" and before the first
// space, cut to 63 characters and to one less than `limit`.
std::string_view short_program_name(std::string_view first_argument, std::int32_t limit);

// Writes the program name of a process, terminated, into the `limit` bytes of `name`; nothing when there are none. A
// process that has ended has the empty name. False, with nothing written, for a command line that is empty or cannot be
// read.
bool read_package_name(std::int32_t pid, char* name, std::int32_t limit);

} // namespace kt3::allocation
