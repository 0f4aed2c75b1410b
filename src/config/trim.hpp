#pragma once
// White space at the edges of a text, as the preference file understands it.

#include <cctype>
#include <string_view>

namespace kt3::config {

// Bytes of UTF-8 names lie above 0x7F, where a plain char is negative and isspace must not see it.
inline bool is_space(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

inline std::string_view trimmed(std::string_view text) {
    while (!text.empty() && is_space(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_space(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

} // namespace kt3::config
