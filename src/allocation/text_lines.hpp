#pragma once
// The lines of a driver page, and the rules that its key and value texts share.

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace kt3::allocation {

// Keys and values are held in 128 characters with their terminator. Longer ones are outside the format and are cut.
inline constexpr std::size_t kLongestText = 127;

// Calls `use` with every line, its newline included when there is one. As the driver's pages are text, a line ends for
// the reader at its first zero byte.
template<typename Use>
void for_each_line(std::string_view page, Use&& use) {
    const bool plain_text = page.find('\0') == page.npos;
    while (!page.empty()) {
        const std::size_t newline = page.find('\n');
        const std::size_t length = newline == page.npos ? page.size() : newline + 1;
        const std::string_view line(page.data(), length);
        use(plain_text ? line : line.substr(0, line.find('\0')));
        page.remove_prefix(length);
    }
}

// The driver ends every value with a newline, so the last character goes. It goes even when it is a digit, on a last
// line without a newline, and clients see that number.
inline std::string_view value_text(std::string_view rest_of_line) {
    const std::size_t held = std::min(rest_of_line.size(), kLongestText);
    return {rest_of_line.data(), held == 0 ? 0 : held - 1};
}

} // namespace kt3::allocation
