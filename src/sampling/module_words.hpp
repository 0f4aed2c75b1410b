// SPDX-License-Identifier: MIT
#pragma once
// Words that the kernel-interface module hands over. Their meaning is the module's; the library knows positions only.

#include <cstddef>
#include <cstdint>
#include <span>

namespace kt3::sampling {

// What a module call fills. Modules of later versions write more words than the library asks for, so it is larger.
struct ModuleBuffer {
    static constexpr std::size_t kWords = 1024;
    std::uint32_t words[kWords] = {};
};

// One word of the module's answer and its place in the client's record. Words that no row names stay untouched there.
struct WordCopy {
    std::size_t from;
    std::size_t to;
};

inline void copy_words(std::span<const WordCopy> copies, const ModuleBuffer& answer, std::uint32_t* record) {
    for (const WordCopy& copy : copies) {
        record[copy.to] = answer.words[copy.from];
    }
}

} // namespace kt3::sampling
