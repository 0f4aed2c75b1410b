#pragma once
// Digits taken many at a time: a word of text in, how many digits it starts with and their value out. The lengths of
// numbers vary from line to line, so a loop over digits spends most of its time on mispredicted ends.
//
// Words are little-endian: the first character is the lowest byte.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
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
public:
    explicit HexDigits(const char* text) : HexDigits(load_word(text), load_word(text + 8)) {}

    HexDigits(std::uint64_t first_word, std::uint64_t second_word) {
        const Words words = {first_word, second_word};
        const Bytes characters = reinterpret_cast<Bytes>(words);
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
    using Bytes = std::uint8_t __attribute__((vector_size(16)));
    using Pairs = std::uint16_t __attribute__((vector_size(16)));
    using Octets = std::uint8_t __attribute__((vector_size(8)));
    using Words = std::uint64_t __attribute__((vector_size(16)));

    Words others_; // all bits set in every byte that is not a digit
    std::uint64_t value_;
};

// 2 for a text that starts with "0x", else 0.
inline int prefix_length(const char* text) {
    return text[0] == '0' && text[1] == 'x' ? 2 : 0;
}

// The value of a text of 1 to 15 hexadecimal digits, "0x" before them or not; nothing for any other text.
inline std::optional<std::int64_t> usual_hex(std::string_view text) {
    if (text.empty() || text.size() > 15) {
        return std::nullopt;
    }
    const auto size = static_cast<int>(text.size());
    const std::size_t half = std::min<std::size_t>(text.size(), 8);
    const HexDigits digits(short_word(text.substr(0, half)), short_word(text.substr(half)));
    const int prefix = text.starts_with("0x") ? 2 : 0;
    if (digits.count(prefix) != size || size == prefix) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(digits.value(prefix, size));
}

// The same for 1 to 8 decimal digits.
inline std::optional<std::int32_t> usual_decimal(std::string_view text) {
    if (text.size() == 1) {
        const auto digit = static_cast<unsigned char>(text[0] - '0'); // most numbers have no more
        return digit < 10 ? std::optional<std::int32_t>(digit) : std::nullopt;
    }
    if (text.empty() || text.size() > 8) {
        return std::nullopt;
    }
    const auto count = static_cast<int>(text.size());
    const std::uint64_t word = short_word(text);
    if (leading_count(no_decimal_digits(word)) < count) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(decimal_value(word, count));
}

} // namespace kt3::support
