#pragma once
// The short name under which a process is shown.

#include <cstdint>
#include <string_view>

namespace kt3::allocation {

// The first argument itself when it is shorter than `limit`, else its part behind the last "/" and before the first
// blank, cut to 63 characters.
std::string_view short_program_name(std::string_view first_argument, std::int32_t limit);

// Writes the program name of a process, terminated, into `name`, which has room for 64 characters and for `limit`. A
// process that is gone has the empty name. False, with nothing written, for a command line that is empty or cannot be
// read.
bool read_package_name(std::int32_t pid, char* name, std::int32_t limit);

} // namespace kt3::allocation
