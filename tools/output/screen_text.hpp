// SPDX-License-Identifier: MIT
#pragma once
// Text that came from drivers, processes and files, made safe for terminals.

#include <cstddef>
#include <string>
#include <string_view>

namespace kt3::output {

// Valid UTF-8 without control characters: those become \n, \t, \r or \xNN, the second control block \u00NN.
[[nodiscard]] std::string screen_safe(std::string_view text);

// Characters of valid UTF-8 text.
[[nodiscard]] std::size_t character_count(std::string_view text);

// Some of them, from the first one on.
[[nodiscard]] std::string_view characters_of(std::string_view text, std::size_t first, std::size_t count);

} // namespace kt3::output
