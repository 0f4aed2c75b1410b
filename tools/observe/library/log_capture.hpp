// SPDX-License-Identifier: MIT
#pragma once
// The library's log lines: kept for those who look for one, and shown when the library's words are wanted.

#include "observe/library/library.hpp"

#include <string>
#include <vector>

namespace kt3::observe {

void capture_log(const Library& library);

// The lines since the last call, oldest first, without line ends. At most the last thousand are kept.
[[nodiscard]] std::vector<std::string> take_log_lines();

} // namespace kt3::observe
