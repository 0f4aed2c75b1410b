// SPDX-License-Identifier: MIT
#pragma once
// Dump files are read in large blocks and handed out in lines of at most 511 characters; a longer line counts as
// several. As with fgets, the text of a line ends at its first zero byte; what follows up to the newline is skipped.

#include "support/file_reading.hpp"

#include <cstring>
#include <memory>
#include <span>
#include <string_view>

namespace kt3::vmdump {

inline constexpr std::size_t kLineSize = 511; // newline included

// What is read of a dump at a time. It would fill the stack of a small thread, so it is made once for a whole walk.
class DumpBlock {
public:
    [[nodiscard]] std::span<char> bytes() const { return {bytes_.get(), kSize}; }

private:
    static constexpr std::size_t kSize = 64 * 1024;
    std::unique_ptr<char[]> bytes_ = std::make_unique_for_overwrite<char[]>(kSize);
};

// The first line of the text, which is not empty: newline included, cut at 511 characters.
inline std::string_view first_line(std::string_view text) {
    text = text.substr(0, kLineSize);
    const void* newline = std::memchr(text.data(), '\n', text.size());
    return newline == nullptr
               ? text
               : text.substr(0, static_cast<std::size_t>(static_cast<const char*>(newline) - text.data()) + 1);
}

// The part of a line that a reader of C strings sees.
inline std::string_view visible(std::string_view line) {
    return line.substr(0, line.find('\0'));
}

// Whether the first line of the text is known to be complete.
inline bool has_line(std::string_view text, bool last) {
    return text.size() > kLineSize || (last && !text.empty());
}

// What `take` returns below when it needs no more of the file.
inline constexpr std::size_t kEnough = std::string_view::npos;

// Calls take(text, last) for what each read gives until the file ends; `take` returns how many bytes it is done with,
// all but an unfinished line, and sees the rest again with what follows it. The block holds several lines. False when
// the file cannot be opened or a read fails.
template<typename Take>
bool read_in_blocks(const char* path, std::span<char> block, Take take) {
    const support::Fd file = support::open_for_reading(AT_FDCWD, path);
    if (!file) {
        return false;
    }
    std::size_t kept = 0;
    for (;;) {
        const ssize_t got = support::read_once(file.get(), block.data() + kept, block.size() - kept);
        if (got < 0) {
            return false;
        }
        const std::size_t filled = kept + static_cast<std::size_t>(got);
        const std::size_t done = take(std::string_view(block.data(), filled), got == 0);
        if (got == 0 || done == kEnough) {
            return true;
        }
        kept = filled - done;
        std::memmove(block.data(), block.data() + done, kept);
    }
}

} // namespace kt3::vmdump
