// SPDX-License-Identifier: MIT
#pragma once
// Words that other GPU tools use for what kt3 has too, so that habits and scripts carry over. No help page shows them.

#include <string>
#include <vector>

namespace kt3::cli {

// The arguments (without the program's name) in kt3's own words: `ps` becomes `process`, `-i 0` becomes `-g 0`,
// `--query-gpu=name --format=csv,noheader` becomes `--query name --noheader`. What is no such word stays as it is.
[[nodiscard]] std::vector<std::string> in_own_words(const std::vector<std::string>& arguments);

} // namespace kt3::cli
