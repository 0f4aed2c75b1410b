#pragma once
// Searching a page for a key and reading the number right behind it.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

namespace kt3::support {

// Position just behind the first `key` in the `length` bytes of `page`, or -1. Bytes are compared raw, zero bytes
// included. A match may not touch the last byte of the buffer: clients rely on a key at the very edge not being
// found, because a page that was cut there has lost the value as well.
inline std::int32_t find_behind(const char* page, std::int32_t length, std::string_view key) {
    if (length <= 0 || key.size() >= static_cast<std::size_t>(length)) {
        return -1;
    }
    const void* match = ::memmem(page, static_cast<std::size_t>(length) - 1, key.data(), key.size());
    return match == nullptr ? -1 : static_cast<std::int32_t>(static_cast<const char*>(match) - page + key.size());
}

// The numbers below start at a NUL-terminated text, skip white space and give nothing when no digit follows.
// Like the C library's formatted input they keep the low 32 bits of what was converted as a 64-bit number.
inline std::optional<std::int32_t> scan_int(const char* text) {
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    return end == text ? std::nullopt : std::optional(static_cast<std::int32_t>(value));
}

inline std::optional<std::uint32_t> scan_unsigned(const char* text, int base = 10) {
    char* end = nullptr;
    const unsigned long value = std::strtoul(text, &end, base);
    return end == text ? std::nullopt : std::optional(static_cast<std::uint32_t>(value));
}

} // namespace kt3::support
