// SPDX-License-Identifier: MIT
#pragma once
// Numbers in driver text. The policy is chosen by name: checked_* throws as the standard conversions do and
// with their texts, leading_* takes what digits there are.
//
// All of them skip leading white space, accept one sign and stop at the first character that is not a digit of
// the base. Base 16 accepts a "0x" prefix before at least one digit.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace kt3::support {

// What was found at the start of a text.
struct LeadingNumber {
    std::int64_t value = 0; // saturated at the 64-bit bounds when `overflow` is set
    bool any_digit = false;
    bool overflow = false;
    std::size_t end = 0; // position after the last digit, when there is any
};

constexpr bool is_c_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr unsigned digit_value(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10 : 99;
}

constexpr LeadingNumber scan_leading_number(std::string_view text, unsigned base) {
    std::size_t at = 0;
    while (at < text.size() && is_c_space(text[at])) {
        ++at;
    }
    const bool negative = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
        ++at;
    }
    if (base == 16 && at + 2 < text.size() && text[at] == '0' && (text[at + 1] | 0x20) == 'x' &&
        digit_value(text[at + 2]) < 16) {
        at += 2;
    }
    LeadingNumber found;
    const std::uint64_t limit = static_cast<std::uint64_t>(INT64_MAX) + (negative ? 1 : 0);
    std::uint64_t magnitude = 0;
    for (; at < text.size() && digit_value(text[at]) < base; ++at) {
        const unsigned digit = digit_value(text[at]);
        found.any_digit = true;
        std::uint64_t next = 0;
        found.overflow = found.overflow || __builtin_mul_overflow(magnitude, base, &next) ||
                         __builtin_add_overflow(next, digit, &next) || next > limit;
        magnitude = found.overflow ? limit : next;
    }
    found.value = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
    found.end = at;
    return found;
}

// As std::stoll. Throws std::invalid_argument("stoll") or std::out_of_range("stoll").
inline std::int64_t checked_long_long(std::string_view text, unsigned base) {
    const LeadingNumber found = scan_leading_number(text, base);
    if (!found.any_digit) {
        throw std::invalid_argument("stoll");
    }
    if (found.overflow) {
        throw std::out_of_range("stoll");
    }
    return found.value;
}

// As std::stoi. Throws std::invalid_argument("stoi") or std::out_of_range("stoi").
inline std::int32_t checked_int(std::string_view text, unsigned base) {
    const LeadingNumber found = scan_leading_number(text, base);
    if (!found.any_digit) {
        throw std::invalid_argument("stoi");
    }
    if (found.overflow || found.value < INT32_MIN || found.value > INT32_MAX) {
        throw std::out_of_range("stoi");
    }
    return static_cast<std::int32_t>(found.value);
}

// The low 32 bits of a decimal long integer; text that is not a number gives 0.
constexpr std::int32_t leading_int(std::string_view text) {
    return static_cast<std::int32_t>(scan_leading_number(text, 10).value);
}

} // namespace kt3::support
