#pragma once
// Strict matchers for the lines that make up nearly all of a dump. They read forward without looking for the end of
// the line first and give nothing as soon as a line differs from the usual shape; the general parsers then apply the
// exact rules. On the lines that they do accept both give the same.

#include "vmdump/record_text.hpp"

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

inline const char* skip_blanks(const char* at) {
    const char* const limit = at + 16;
    while (*at == ' ' && at != limit) {
        ++at;
    }
    return at;
}

// One to nine digits, so the value always fits. Null when there are none or more.
inline const char* number(const char* at, std::int32_t& value) {
    const char* const start = at;
    std::uint32_t digits = 0;
    for (unsigned digit; (digit = static_cast<unsigned>(*at) - '0') < 10 && at - start < 10; ++at) {
        digits = digits * 10 + digit;
    }
    value = static_cast<std::int32_t>(digits);
    return at != start && at - start < 10 ? at : nullptr;
}

template<std::size_t N>
const char* word(const char* at, const char (&text)[N]) {
    return at != nullptr && std::memcmp(at, text, N - 1) == 0 ? at + (N - 1) : nullptr;
}

// One to 47 characters of the set that addresses are written in.
inline const char* address(const char* at) {
    const char* const start = at;
    while (at - start < static_cast<std::ptrdiff_t>(kFieldSize)) {
        const char lower = static_cast<char>(*at | 0x20);
        const bool digit = static_cast<unsigned>(*at) - '0' < 10;
        if (!digit && (lower < 'a' || lower > 'f') && lower != 'x') {
            break;
        }
        ++at;
    }
    return at != start && at - start < static_cast<std::ptrdiff_t>(kFieldSize) ? at : nullptr;
}

inline std::string_view between(const char* first, const char* last) {
    return {first, static_cast<std::size_t>(last - first)};
}

} // namespace matching

// 2:511 Snoop:1 Segment:0 LargePage:0 Addr:0x3f00
// The text must hold kMatchReach bytes. Returns the place behind the newline, or null.
inline const char* match_sub_table_line(const char* text, SubTableLine& line) {
    using namespace matching;
    const char* at = number(skip_blanks(text), line.level);
    if ((at = word(at, ":")) == nullptr || (at = number(at, line.index)) == nullptr) {
        return nullptr;
    }
    if ((at = word(at, " Snoop:")) == nullptr || (at = number(at, line.snoop)) == nullptr) {
        return nullptr;
    }
    if ((at = word(at, " Segment:")) == nullptr || (at = number(at, line.segment)) == nullptr) {
        return nullptr;
    }
    line.large_page = 0;
    if (const char* value = word(at, " LargePage:"); value != nullptr) {
        if ((at = number(value, line.large_page)) == nullptr) {
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
    const char* at = number(skip_blanks(text), line.level);
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
