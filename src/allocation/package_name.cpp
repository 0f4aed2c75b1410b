// SPDX-License-Identifier: MIT
#include "allocation/package_name.hpp"

#include "support/file_reading.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace kt3::allocation {
namespace {

constexpr std::size_t kLongestLine = 510;
constexpr std::int32_t kLongestName = 63; // of those that are shortened

// Arguments are separated by zero bytes. A newline ends the name as well and belongs to it.
std::size_t first_argument_end(const char* line, std::size_t length) {
    for (std::size_t at = 0; at < length; ++at) {
        if (line[at] == '\0') {
            return at;
        }
        if (line[at] == '\n') {
            return at + 1;
        }
    }
    return std::string_view::npos;
}

struct Line {
    char text[kLongestLine];
    std::size_t length = 0; // of the first argument
};

// Reads until the first argument is complete, which the first read usually gives. False when there is nothing to read,
// and after a read error.
bool read_first_argument(int file, Line& line) {
    std::size_t filled = 0;
    std::size_t end = std::string_view::npos;
    while (filled < kLongestLine && end == std::string_view::npos) {
        const ssize_t got = support::read_once(file, line.text + filled, kLongestLine - filled);
        if (got < 0) {
            return false;
        }
        if (got == 0) {
            break;
        }
        filled += static_cast<std::size_t>(got);
        end = first_argument_end(line.text, filled);
    }
    line.length = std::min(end, filled);
    return filled > 0;
}

// The text is shorter than the limit. A limit of 0 or less leaves no place even for its end.
void copy(std::string_view text, char* name, std::int32_t limit) {
    if (limit > 0) {
        std::memcpy(name, text.data(), text.size());
        name[text.size()] = '\0';
    }
}

} // namespace

std::string_view short_program_name(std::string_view first_argument, std::int32_t limit) {
    if (static_cast<std::int64_t>(first_argument.size()) < limit) {
        return first_argument;
    }
    const std::string_view program = first_argument.substr(0, first_argument.find(' '));
    const std::int32_t longest = std::min(kLongestName, std::max(limit, 1) - 1);
    return program.substr(program.rfind('/') + 1, static_cast<std::size_t>(longest)); // all of it without a "/"
}

bool read_package_name(std::int32_t pid, char* name, std::int32_t limit) {
    char path[256];
    std::snprintf(path, sizeof path, "/proc/%d/cmdline", pid);
    const support::Fd file(::open(path, O_RDONLY | O_CLOEXEC));
    if (!file) {
        copy("", name, limit);
        return true;
    }
    Line line;
    if (!read_first_argument(file.get(), line)) {
        return false;
    }
    copy(short_program_name({line.text, line.length}, limit), name, limit);
    return true;
}

} // namespace kt3::allocation
