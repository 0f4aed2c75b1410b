// SPDX-License-Identifier: MIT
#pragma once
// Texts that are handed on as a print format although they are finished lines.

#include <cstddef>
#include <string>
#include <string_view>

namespace kt3::support {

// Writes `line` into `out` with every percent sign that is not half of a "%%" pair doubled, so that printing the
// result as a format prints the line (a pair still prints as one sign) and fetches no argument. Cuts at
// `capacity` - 1 characters and always terminates; `capacity` must not be 0.
void double_lone_percents(std::string_view line, char* out, std::size_t capacity);

// What printing the doubled text yields: each "%%" as one sign, every other sign as it stands.
std::string printed_as_format(std::string_view text);

} // namespace kt3::support
