// SPDX-License-Identifier: MIT
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
    const char* rest; // after "buffer:"
};

// Moves forward over the parts of a line; stays nowhere for good once a part is not there.
class LineCursor {
public:
    explicit LineCursor(const char* text) : at_(text) {}

    // The place after what was read, or null.
    [[nodiscard]] const char* place() const { return at_; }

    LineCursor& spaces() {
        const char* const limit = at_ + 16;
        while (*at_ == ' ' && at_ != limit) {
            ++at_;
        }
        return *this;
    }

    template<std::size_t N>
    LineCursor& expect(const char (&word)[N]) {
        at_ = starts_with(word) ? at_ + (N - 1) : nullptr;
        return *this;
    }

    // The same for a part that lines may lack: false when it is not there.
    template<std::size_t N>
    bool skip(const char (&word)[N]) {
        const bool found = starts_with(word);
        at_ += found ? N - 1 : 0;
        return found;
    }

    // One to seven digits.
    LineCursor& number(std::int32_t& value) {
        if (at_ == nullptr) {
            return *this;
        }
        const std::uint64_t digits = support::load_word(at_);
        const int count = support::leading_count(support::no_decimal_digits(digits));
        if (count == 0 || count == 8) {
            at_ = nullptr;
            return *this;
        }
        value = static_cast<std::int32_t>(support::decimal_value(digits, count));
        at_ += count;
        return *this;
    }

    // The same for numbers that mostly have one digit.
    LineCursor& short_number(std::int32_t& value) {
        const auto digit = [](char c) { return static_cast<unsigned>(c) - '0'; };
        if (at_ == nullptr || digit(at_[0]) >= 10 || digit(at_[1]) < 10) {
            return number(value);
        }
        value = static_cast<std::int32_t>(digit(*at_++));
        return *this;
    }

    // One to fifteen hexadecimal digits, "0x" before them or not.
    LineCursor& address(std::string_view& text) {
        if (at_ == nullptr) {
            return *this;
        }
        const char* const digits = at_ + support::prefix_length(at_);
        const int count = support::HexDigits(digits).count();
        text = {at_, static_cast<std::size_t>(digits + count - at_)};
        at_ = count == 0 || count == 16 ? nullptr : digits + count;
        return *this;
    }

private:
    template<std::size_t N>
    bool starts_with(const char (&word)[N]) const {
        return at_ != nullptr && std::memcmp(at_, word, N - 1) == 0;
    }

    const char* at_;
};

// 2:511 Snoop:1 Segment:0 LargePage:0 Addr:0x3f00
// The text must hold kMatchReach bytes. Returns the place after the newline, or null.
inline const char* match_sub_table_line(const char* text, SubTableLine& line) {
    LineCursor cursor(text);
    cursor.spaces().short_number(line.level).expect(":").number(line.index);
    cursor.expect(" Snoop:").short_number(line.snoop).expect(" Segment:").short_number(line.segment);
    line.large_page = 0;
    if (cursor.skip(" LargePage:")) {
        cursor.short_number(line.large_page);
    }
    return cursor.expect(" Addr:").address(line.address).expect("\n").place();
}

//   1:7: entry addr:0x1a20, buffer:text of the buffer
// As above, up to the buffer text; the rest of the line is the caller's. Returns that place, or null.
inline const char* match_page_table_line(const char* text, PageTableLine& line) {
    LineCursor cursor(text);
    cursor.spaces().short_number(line.level).expect(":").number(line.index);
    cursor.expect(": entry addr:").address(line.address).expect(", buffer:");
    return line.rest = cursor.place();
}

} // namespace kt3::vmdump
