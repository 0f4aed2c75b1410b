#pragma once
// Digits taken many at a time: a word of text in, how many digits it starts with and their value out. The lengths of
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

// The first sixteen characters of a text as hexadecimal digits.
class HexDigits {
public:
    explicit HexDigits(const char* text) {
        Bytes characters;
        std::memcpy(&characters, text, sizeof characters);
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

    // Characters in front of the first one that is no digit: 0 to 16. The first `skipped` of them, 0 to 8, count as
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
    using Bytes = std::uint8_t __attribute__((vector_size(16)));
    using Pairs = std::uint16_t __attribute__((vector_size(16)));
    using Octets = std::uint8_t __attribute__((vector_size(8)));
    using Words = std::uint64_t __attribute__((vector_size(16)));

    Words others_; // all bits set in every byte that is no digit
    std::uint64_t value_;
};

// 2 for a text that starts with "0x", else 0.
inline int prefix_length(const char* text) {
    return text[0] == '0' && text[1] == 'x' ? 2 : 0;
}

// The value of a text of 1 to 15 hexadecimal digits, "0x" in front or not; nothing for any other text. Strings of up to
// 15 characters always have 16 bytes of room, all of which are read.
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

// The same for 1 to 7 decimal digits.
inline std::optional<std::int32_t> usual_decimal(const std::string& text) {
    const auto count = static_cast<int>(text.size());
    if (text.empty() || text.size() > 7 || leading_count(no_decimal_digits(load_word(text.data()))) < count) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(decimal_value(load_word(text.data()), count));
}

} // namespace kt3::vmdump
