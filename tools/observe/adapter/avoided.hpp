// SPDX-License-Identifier: MIT
#pragma once
// Files that did not answer lately. Whoever reads values in this process passes them over.

#include <string>
#include <vector>

namespace kt3::observe {

// The last two parts of each path, as "wy_info/coreclk"; they take the place of those before.
void avoid_files(std::vector<std::string> tails);

// Whether a file, named as for openat, is one of them.
[[nodiscard]] bool is_avoided(int directory, const char* name);

} // namespace kt3::observe
