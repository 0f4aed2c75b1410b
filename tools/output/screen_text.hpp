#pragma once
// Text that came from drivers, processes and files, made safe for terminals and for JSON.

#include <cstddef>
#include <string>
#include <string_view>

namespace kt3::cli {

// Every byte that belongs to no valid UTF-8 sequence becomes U+FFFD.
[[nodiscard]] std::string valid_utf8(std::string_view text);

// Valid UTF-8 without control characters: those become \n, \t, \r or \xNN, the second control block \u00NN.
[[nodiscard]] std::string screen_safe(std::string_view text);

// Characters of valid UTF-8 text.
[[nodiscard]] std::size_t character_count(std::string_view text);

// The text of a fixed-size record field: up to its terminator, or all of it.
template<std::size_t N>
[[nodiscard]] std::string field_text(const char (&field)[N]) {
    const std::string_view whole(field, N);
    return std::string(whole.substr(0, whole.find('\0')));
}

} // namespace kt3::cli
