// SPDX-License-Identifier: MIT
#pragma once
// Where the lines of a driver page divide. A block of the page is classified at once, so that the places are known
// before the text between them is read; searching for one after the other would make each wait for the one before.

#include <bit>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kt3::allocation {

inline bool is_mark(char c) {
    return c == '=' || c == '\n' || c == '\0';
}

#if defined(__SSE2__)
// A bit for each of the 64 bytes that is a mark.
inline std::uint64_t marks_of_block(const char* block) {
    std::uint64_t marks = 0;
    for (unsigned at = 0; at < 64; at += 16) {
        __m128i bytes;
        std::memcpy(&bytes, block + at, sizeof bytes);
        const __m128i dividers =
            _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('=')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n')));
        const __m128i found = _mm_or_si128(dividers, _mm_cmpeq_epi8(bytes, _mm_setzero_si128()));
        marks |= static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm_movemask_epi8(found))) << at;
    }
    return marks;
}
#endif

// Calls `use` with the place of every "=", newline and zero byte in [at, end), in order.
template<typename Use>
void for_each_mark(const char* at, const char* end, Use&& use) {
#if defined(__SSE2__)
    for (; end - at >= 64; at += 64) {
        for (std::uint64_t marks = marks_of_block(at); marks != 0; marks &= marks - 1) {
            use(at + std::countr_zero(marks));
        }
    }
#endif
    for (; at != end; ++at) {
        if (is_mark(*at)) {
            use(at);
        }
    }
}

} // namespace kt3::allocation
