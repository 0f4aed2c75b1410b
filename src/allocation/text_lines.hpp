// SPDX-License-Identifier: MIT
#pragma once
// The lines of a driver page, and the rules that its key and value texts share.

#include "allocation/page_marks.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace kt3::allocation {

// Values are held in 128 characters with their terminator. Longer ones are outside the format and are cut.
inline constexpr std::size_t kLongestValue = 127;

// Calls `use` with the texts before and after the first "=" of every line that has one. The second includes the
// newline when there is one. As the driver's pages are text, a line ends for the reader at its first zero byte.
template<typename Use>
void for_each_pair(std::string_view page, Use&& use) {
    const char* start = page.data();
    const char* equals = nullptr;
    const char* zero = nullptr;
    const auto end_line = [&](const char* next) {
        if (equals != nullptr) {
            use(std::string_view(start, equals), std::string_view(equals + 1, zero == nullptr ? next : zero));
        }
        start = next;
        equals = nullptr;
        zero = nullptr;
    };
    const char* const end = page.data() + page.size();
    for_each_mark(page.data(), end, [&](const char* mark) {
        if (*mark == '\n') {
            end_line(mark + 1);
        } else if (zero == nullptr && *mark == '\0') {
            zero = mark;
        } else if (zero == nullptr && equals == nullptr) {
            equals = mark;
        }
    });
    end_line(end);
}

// The driver ends every value with a newline, so the last character goes. It goes even when it is a digit, on a last
// line without a newline, and clients see that number.
inline std::string_view value_text(std::string_view rest_of_line) {
    const std::size_t length = rest_of_line.empty() ? 0 : rest_of_line.size() - 1;
    return {rest_of_line.data(), std::min(length, kLongestValue)};
}

} // namespace kt3::allocation
