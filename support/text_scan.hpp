// SPDX-License-Identifier: MIT
#pragma once
// Searching a page for a key and reading the number right after it.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

namespace kt3::support {

// Position just after the first `key` in the `length` bytes of `page`, or -1. Bytes are compared raw, zero bytes
// included. A match may not touch the last byte of the buffer: a page that was cut there has lost the value
// as well, and clients rely on such a key not being found.
inline std::int32_t find_after(const char* page, std::int32_t length, std::string_view key) {
    if (length <= 0 || key.size() >= static_cast<std::size_t>(length)) {
        return -1;
    }
    const void* match = ::memmem(page, static_cast<std::size_t>(length) - 1, key.data(), key.size());
    return match == nullptr ? -1 : static_cast<std::int32_t>(static_cast<const char*>(match) - page + key.size());
}

// The numbers below stand in a NUL-terminated text. Leading white space is skipped; nothing is given, and `at` stays,
// when no digit follows. Otherwise `at` moves past the digits. Like the C library's formatted input the 32-bit forms
// keep the low 32 bits of what was converted as a 64-bit number.
inline std::optional<std::int64_t> take_long(const char*& at) {
    char* end = nullptr;
    const long value = std::strtol(at, &end, 10);
    return std::exchange(at, end) == end ? std::nullopt : std::optional<std::int64_t>(value);
}

inline std::optional<std::int32_t> take_int(const char*& at) {
    const auto value = take_long(at);
    return value ? std::optional(static_cast<std::int32_t>(*value)) : std::nullopt;
}

inline std::optional<std::uint32_t> take_unsigned(const char*& at, int base = 10) {
    char* end = nullptr;
    const unsigned long value = std::strtoul(at, &end, base);
    return std::exchange(at, end) == end ? std::nullopt : std::optional(static_cast<std::uint32_t>(value));
}

inline std::optional<std::int32_t> scan_int(const char* text) {
    return take_int(text);
}

inline std::optional<std::uint32_t> scan_unsigned(const char* text, int base = 10) {
    return take_unsigned(text, base);
}

} // namespace kt3::support
