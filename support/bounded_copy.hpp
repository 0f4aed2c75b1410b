// SPDX-License-Identifier: MIT
#pragma once
// Copies into fixed character fields of client records.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace kt3::support {

// Cuts the text to what fits with a terminator; the rest of the field is left alone.
template<std::size_t N>
void copy_terminated(char (&field)[N], std::string_view text) {
    const std::size_t length = std::min(text.size(), N - 1);
    std::memcpy(field, text.data(), length);
    field[length] = '\0';
}

// The text of a field that may fill its whole width without a terminator.
template<std::size_t N>
std::string_view bounded_text(const char (&field)[N]) {
    return {field, ::strnlen(field, N)};
}

} // namespace kt3::support
