#pragma once
// The library's log lines: kept for commands that look for one, shown on standard error with --verbose.

#include "observe/library/library.hpp"

#include <string>
#include <vector>

namespace kt3::cli {

void capture_log(const Library& library, bool verbose);

// The lines since the last call, oldest first, without line ends. At most the last thousand are kept.
[[nodiscard]] std::vector<std::string> take_log_lines();

} // namespace kt3::cli
