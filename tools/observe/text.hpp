// SPDX-License-Identifier: MIT
#pragma once
// Text that came from drivers, processes and files, made valid.

#include <cstddef>
#include <string>
#include <string_view>

namespace kt3::observe {

// Length of the UTF-8 sequence that the text begins with; 0 when it begins with none. The text is not empty.
[[nodiscard]] std::size_t utf8_length(std::string_view text);

// Every byte that belongs to no valid UTF-8 sequence becomes U+FFFD.
[[nodiscard]] std::string valid_utf8(std::string_view text);

// The text of a fixed-size record field: up to its terminator, or all of it.
template<std::size_t N>
[[nodiscard]] std::string field_text(const char (&field)[N]) {
    const std::string_view whole(field, N);
    return std::string(whole.substr(0, whole.find('\0')));
}

} // namespace kt3::observe
