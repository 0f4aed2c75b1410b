#pragma once
// Digits taken eight at a time: a word of text in, how many digits it starts with and their value out. The lengths of
// numbers in a dump vary from line to line, so a loop over digits spends most of its time on mispredicted ends.
//
// Words are little-endian: the first character is the lowest byte.

#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

namespace kt3::vmdump {

static_assert(std::endian::native == std::endian::little);

inline std::uint64_t load_word(const char* text) {
    std::uint64_t word;
    std::memcpy(&word, text, sizeof word);
    return word;
}

constexpr std::uint64_t every_byte(unsigned value) {
    return 0x0101010101010101U * value;
}

// The top bit of every byte that is no digit. What stands behind the first of them may be wrong.
constexpr std::uint64_t no_decimal_digits(std::uint64_t word) {
    const std::uint64_t value = word ^ every_byte('0');
    return (value | (value + every_byte(0x80 - 10))) & every_byte(0x80);
}

constexpr std::uint64_t no_hex_digits(std::uint64_t word) {
    const std::uint64_t lower = word | every_byte(0x20);
    const std::uint64_t digits = (word + every_byte(0x80 - '0')) & ~(word + every_byte(0x80 - '9' - 1));
    const std::uint64_t letters = (lower + every_byte(0x80 - 'a')) & ~(lower + every_byte(0x80 - 'f' - 1));
    return ~(digits | letters) & every_byte(0x80);
}

// Characters in front of the first marked byte: 0 to 8.
constexpr int leading_count(std::uint64_t marks) {
    return std::countr_zero(marks) / 8;
}

// The value of the first `count` characters, 1 to 8, which are digits.
constexpr std::uint32_t decimal_value(std::uint64_t word, int count) {
    std::uint64_t value = (word ^ every_byte('0')) << (64 - 8 * count);
    value = (value * 10 + (value >> 8)) & 0x00FF00FF00FF00FFU;
    value = (value * 100 + (value >> 16)) & 0x0000FFFF0000FFFFU;
    return static_cast<std::uint32_t>(value * 10000 + (value >> 32));
}

constexpr std::uint32_t hex_value(std::uint64_t word, int count) {
    std::uint64_t value = ((word & every_byte(0x0F)) + ((word >> 6) & every_byte(1)) * 9) << (64 - 8 * count);
    value = ((value << 4) | (value >> 8)) & 0x00FF00FF00FF00FFU;
    value = ((value << 8) | (value >> 16)) & 0x0000FFFF0000FFFFU;
    return static_cast<std::uint32_t>((value << 16) | (value >> 32));
}

// 2 for a text that starts with "0x", else 0.
inline std::size_t prefix_length(const char* text) {
    return text[0] == '0' && text[1] == 'x' ? 2 : 0;
}

// The value of a text of 1 to 15 hexadecimal digits, "0x" in front or not; nothing for any other text. Strings of up to
// 15 characters always have 16 bytes of room, all of which are read.
inline std::optional<std::int64_t> usual_hex(const std::string& text) {
    __extension__ using Wide = unsigned __int128;
    const std::size_t prefix = text.size() <= 15 ? prefix_length(text.data()) : text.size();
    const std::size_t count = text.size() - prefix;
    if (count == 0) {
        return std::nullopt;
    }
    // Moved so that the digits end the sixteen bytes; zeros come in front.
    const auto unused = static_cast<unsigned>(8 * (16 - count));
    constexpr Wide kZeros = static_cast<Wide>(every_byte('0')) << 64 | every_byte('0');
    const Wide all = static_cast<Wide>(load_word(text.data() + 8)) << 64 | load_word(text.data());
    const Wide word = ((all >> (8 * prefix)) << unused) | (kZeros & ((static_cast<Wide>(1) << unused) - 1));
    const auto upper = static_cast<std::uint64_t>(word);
    const auto lower = static_cast<std::uint64_t>(word >> 64);
    if ((no_hex_digits(upper) | no_hex_digits(lower)) != 0) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(hex_value(upper, 8)) << 32 | hex_value(lower, 8));
}

// The same for 1 to 7 decimal digits.
inline std::optional<std::int32_t> usual_decimal(const std::string& text) {
    const auto count = static_cast<int>(text.size());
    if (text.empty() || text.size() > 7 || leading_count(no_decimal_digits(load_word(text.data()))) < count) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(decimal_value(load_word(text.data()), count));
}

} // namespace kt3::vmdump
