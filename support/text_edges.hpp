// SPDX-License-Identifier: MIT
#pragma once
// What stands at the edges of a text and does not belong to it.

#include <cctype>
#include <string_view>

namespace kt3::support {

// Bytes of UTF-8 names lie above 0x7F, where a plain char is negative and isspace must not see it.
inline bool is_space(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// Without white space at either edge.
inline std::string_view trimmed(std::string_view text) {
    while (!text.empty() && is_space(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_space(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Without the given characters at its end.
inline std::string_view trimmed_end(std::string_view text, std::string_view unwanted) {
    return text.substr(0, text.find_last_not_of(unwanted) + 1); // npos + 1 is 0
}

} // namespace kt3::support
