// SPDX-License-Identifier: MIT
#pragma once
// Whose client a directory of the driver is.

#include "observe/library/library.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace kt3::observe {

// The process id in the info file of the client with this directory; page tables are not read. Nothing when there is no
// such client, and for the driver's own contexts, whose process is 0. Throws Failure when the file names no process or
// cannot be read within `timeout` seconds.
[[nodiscard]] std::optional<std::int64_t> process_of_client(const Library& library, const std::string& client,
                                                            double timeout);

} // namespace kt3::observe
