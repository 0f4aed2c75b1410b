// SPDX-License-Identifier: MIT
#pragma once
// Which file a process waits for, as the kernel tells those who may look into it.

#include <optional>
#include <string>
#include <sys/types.h>

namespace kt3::collect {

// The last two parts of the path of the file that the process opens, reads, writes or asks about at this moment:
// "wy_info/coreclk". Nothing when it does something else, waits for a pipe or may not be looked into.
[[nodiscard]] std::optional<std::string> file_waited_for(pid_t process);

// The same, or when it waits for a program that it has started, the file that this waits for or its name.
[[nodiscard]] std::optional<std::string> cause_of_waiting(pid_t process);

// The last two parts of a path.
[[nodiscard]] std::string tail_of(const std::string& path);

} // namespace kt3::collect
