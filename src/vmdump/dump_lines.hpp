#pragma once
// Strict matchers for the lines that make up nearly all of a dump. They read forward without looking for the end of
// the line first and give nothing as soon as a line differs from the usual shape; the general parsers then apply the
// exact rules. On the lines that they do accept both give the same.

#include "support/digit_words.hpp"

#include <cstdint>
#include <cstring>
#include <string_view>

namespace kt3::vmdump {

// A matcher never looks at more bytes than this, so it needs no check for the end of the text.
inline constexpr std::size_t kMatchReach = 256;

struct SubTableLine {
    std::int32_t level;
    std::int32_t index;
    std::int32_t snoop;
    std::int32_t segment;
    std::int32_t large_page;
    std::string_view address;
};

struct PageTableLine {
    std::int32_t level;
    std::int32_t index;
    std::string_view address;
    const char* rest; // behind "buffer:"
};

namespace matching {

using support::decimal_value;
using support::HexDigits;
using support::leading_count;
using support::load_word;
using support::no_decimal_digits;
using support::prefix_length;

inline const char* skip_blanks(const char* at) {
    const char* const limit = at + 16;
    while (*at == ' ' && at != limit) {
        ++at;
    }
    return at;
}

// One to seven digits. Null when there are none or more.
inline const char* number(const char* at, std::int32_t& value) {
    const std::uint64_t digits = load_word(at);
    const int count = leading_count(no_decimal_digits(digits));
    if (count == 0 || count == 8) {
        return nullptr;
    }
    value = static_cast<std::int32_t>(decimal_value(digits, count));
    return at + count;
}

// As above for numbers that mostly have one digit.
inline const char* short_number(const char* at, std::int32_t& value) {
    const auto digit = [](char c) { return static_cast<unsigned>(c) - '0'; };
    value = static_cast<std::int32_t>(digit(at[0]));
    return digit(at[0]) < 10 && digit(at[1]) >= 10 ? at + 1 : number(at, value);
}

template<std::size_t N>
const char* word(const char* at, const char (&text)[N]) {
    return at != nullptr && std::memcmp(at, text, N - 1) == 0 ? at + (N - 1) : nullptr;
}

// One to fifteen hexadecimal digits, "0x" in front or not. Null when there are none or more.
inline const char* address(const char* at) {
    const char* const digits = at + prefix_length(at);
    const int count = HexDigits(digits).count();
    return count == 0 || count == 16 ? nullptr : digits + count;
}

inline std::string_view between(const char* first, const char* last) {
    return {first, static_cast<std::size_t>(last - first)};
}

} // namespace matching

// 2:511 Snoop:1 Segment:0 LargePage:0 Addr:0x3f00
// The text must hold kMatchReach bytes. Returns the place behind the newline, or null.
inline const char* match_sub_table_line(const char* text, SubTableLine& line) {
    using namespace matching;
    const char* at = short_number(skip_blanks(text), line.level);
    if ((at = word(at, ":")) == nullptr || (at = number(at, line.index)) == nullptr) {
        return nullptr;
    }
    if ((at = word(at, " Snoop:")) == nullptr || (at = short_number(at, line.snoop)) == nullptr) {
        return nullptr;
    }
    if ((at = word(at, " Segment:")) == nullptr || (at = short_number(at, line.segment)) == nullptr) {
        return nullptr;
    }
    line.large_page = 0;
    if (const char* value = word(at, " LargePage:"); value != nullptr) {
        if ((at = short_number(value, line.large_page)) == nullptr) {
            return nullptr;
        }
    }
    const char* const start = word(at, " Addr:");
    if (start == nullptr || (at = address(start)) == nullptr || *at != '\n') {
        return nullptr;
    }
    line.address = between(start, at);
    return at + 1;
}

//   1:7: entry addr:0x1a20, buffer:text of the buffer
// As above, up to the buffer text; the rest of the line is the caller's. Returns that place, or null.
inline const char* match_page_table_line(const char* text, PageTableLine& line) {
    using namespace matching;
    const char* at = short_number(skip_blanks(text), line.level);
    if ((at = word(at, ":")) == nullptr || (at = number(at, line.index)) == nullptr) {
        return nullptr;
    }
    const char* const start = word(at, ": entry addr:");
    if (start == nullptr || (at = address(start)) == nullptr) {
        return nullptr;
    }
    line.address = between(start, at);
    return line.rest = word(at, ", buffer:");
}

} // namespace kt3::vmdump
