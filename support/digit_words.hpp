// SPDX-License-Identifier: MIT
#pragma once
// Digits taken many at a time: a word of text in, how many digits it starts with and their value out. The lengths of
// numbers vary from line to line, so a loop over digits spends most of its time on mispredicted ends.
//
// Words are little-endian: the first character is the lowest byte.

#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace kt3::support {

static_assert(std::endian::native == std::endian::little);

inline std::uint64_t load_word(const char* text) {
    std::uint64_t word;
    std::memcpy(&word, text, sizeof word);
    return word;
}

// A text of up to eight characters, followed by zero bytes. Only the text is read.
inline std::uint64_t short_word(std::string_view text) {
    const auto byte = [&](std::size_t at) { return std::uint64_t{static_cast<unsigned char>(text[at])} << (8 * at); };
    if (text.size() < 4) {
        return text.empty() ? 0 : byte(0) | byte(text.size() / 2) | byte(text.size() - 1);
    }
    std::uint32_t first = 0;
    std::uint32_t last = 0; // overlaps the first where the text is shorter than both
    std::memcpy(&first, text.data(), sizeof first);
    std::memcpy(&last, text.data() + text.size() - sizeof last, sizeof last);
    return first | std::uint64_t{last} << (8 * (text.size() - sizeof last));
}

constexpr std::uint64_t every_byte(unsigned value) {
    return 0x0101010101010101U * value;
}

// The top bit of every byte that is not a digit. What follows the first of them may be wrong.
constexpr std::uint64_t no_decimal_digits(std::uint64_t word) {
    const std::uint64_t value = word ^ every_byte('0');
    return (value | (value + every_byte(0x80 - 10))) & every_byte(0x80);
}

// Characters before the first marked byte: 0 to 8.
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

// The first sixteen characters of a text as hexadecimal digits.
class HexDigits {
    using Bytes = std::uint8_t __attribute__((vector_size(16)));
    using Pairs = std::uint16_t __attribute__((vector_size(16)));
    using Octets = std::uint8_t __attribute__((vector_size(8)));
    using Words = std::uint64_t __attribute__((vector_size(16)));

public:
    explicit HexDigits(const char* text) : HexDigits(load(text)) {}

    // The characters of a word, followed by zero bytes.
    explicit HexDigits(std::uint64_t word) : HexDigits(reinterpret_cast<Bytes>(Words{word, 0})) {}

    // Characters before the first one that is not a digit: 0 to 16. The first `skipped` of them, 0 to 8, count as
    // digits whatever they are.
    [[nodiscard]] int count(int skipped = 0) const {
        const int first = leading_count(others_[0] & ~static_cast<std::uint64_t>(0) << (8 * skipped));
        const int second = leading_count(others_[1]);
        return first + (first == 8 ? second : 0); // no branch: whether it is 8 differs from line to line
    }

    // The same for the first eight characters alone: 0 to 8.
    [[nodiscard]] int count_of_eight() const { return leading_count(others_[0]); }

    // The value of the characters from `first` up to `last`, which are digits and at least one.
    [[nodiscard]] std::uint64_t value(int first, int last) const {
        return value_ << (4 * first) >> (64 - 4 * (last - first));
    }

private:
    explicit HexDigits(Bytes characters) {
        const Bytes decimal = characters - '0';
        const Bytes letter = (characters | 0x20) - 'a';
        const Bytes is_decimal = reinterpret_cast<Bytes>(decimal < 10);
        const Bytes is_letter = reinterpret_cast<Bytes>(letter < 6);
        others_ = reinterpret_cast<Words>(~(is_decimal | is_letter));
        const Bytes nibbles = (decimal & is_decimal) | ((letter + 10) & is_letter);
        const Pairs pairs = reinterpret_cast<Pairs>(nibbles);
        const auto octets = __builtin_convertvector(pairs << 4 | pairs >> 8, Octets);
        std::memcpy(&value_, &octets, sizeof value_);
        value_ = __builtin_bswap64(value_);
    }

    static Bytes load(const char* text) {
        Bytes characters;
        std::memcpy(&characters, text, sizeof characters);
        return characters;
    }

    Words others_; // all bits set in every byte that is not a digit
    std::uint64_t value_;
};

// 2 for a text that starts with "0x", else 0.
inline int prefix_length(const char* text) {
    return text[0] == '0' && text[1] == 'x' ? 2 : 0;
}

// The value of a text of 1 to 15 hexadecimal digits, "0x" before them or not; nothing for any other text. Strings of up
// to 15 characters always hold 16 bytes, all of which are read.
inline std::optional<std::int64_t> usual_hex(const std::string& text) {
    if (text.size() > 15) {
        return std::nullopt;
    }
    const auto size = static_cast<int>(text.size());
    const int prefix = prefix_length(text.data());
    const HexDigits digits(text.data());
    if (digits.count(prefix) != size || size == prefix) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(digits.value(prefix, size));
}

// The same for 1 to 8 digits without a prefix, in a text of which nothing more can be read.
inline std::optional<std::uint32_t> short_hex(std::string_view text) {
    if (text.empty() || text.size() > 8) {
        return std::nullopt;
    }
    const auto size = static_cast<int>(text.size());
    const HexDigits digits(short_word(text));
    if (digits.count_of_eight() != size) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(digits.value(0, size));
}

// The value of a word of `size` decimal digits, 1 to 8; nothing when they are not all digits.
inline std::optional<std::int32_t> decimal_of(std::uint64_t word, int size) {
    if (leading_count(no_decimal_digits(word)) < size) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(decimal_value(word, size));
}

// The value of a text of 1 to 8 decimal digits; nothing for any other text.
inline std::optional<std::int32_t> usual_decimal(const std::string& text) {
    if (text.empty() || text.size() > 8) {
        return std::nullopt;
    }
    return decimal_of(load_word(text.data()), static_cast<int>(text.size()));
}

// The same for a text of which nothing more can be read. Most numbers in pages have one digit.
inline std::optional<std::int32_t> short_decimal(std::string_view text) {
    if (text.size() == 1) {
        const auto digit = static_cast<unsigned char>(text[0] - '0');
        return digit < 10 ? std::optional<std::int32_t>(digit) : std::nullopt;
    }
    if (text.empty() || text.size() > 8) {
        return std::nullopt;
    }
    return decimal_of(short_word(text), static_cast<int>(text.size()));
}

} // namespace kt3::support
