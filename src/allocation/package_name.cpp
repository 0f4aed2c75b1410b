#include "allocation/package_name.hpp"

#include "support/file_reading.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace kt3::allocation {
namespace {

constexpr std::size_t kLongestLine = 510;
constexpr std::size_t kLongestName = 63; // of those that are shortened

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
    bool anything_read = false;
};

// Reads until the first argument is complete, which the first read usually gives.
void read_first_argument(int file, Line& line) {
    std::size_t filled = 0;
    while (filled < kLongestLine) {
        const ssize_t got = ::read(file, line.text + filled, kLongestLine - filled);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        line.anything_read = true;
        filled += static_cast<std::size_t>(got);
        line.length = std::min(filled, first_argument_end(line.text, filled));
        if (line.length < filled) {
            break;
        }
    }
}

void copy(std::string_view text, char* name) {
    std::memcpy(name, text.data(), text.size());
    name[text.size()] = '\0';
}

} // namespace

std::string_view short_program_name(std::string_view first_argument, std::int32_t limit) {
    if (static_cast<std::int64_t>(first_argument.size()) < limit) {
        return first_argument;
    }
    const std::string_view program = first_argument.substr(0, first_argument.find(' '));
    return program.substr(program.rfind('/') + 1).substr(0, kLongestName); // the whole text when it has no "/"
}

bool read_package_name(std::int32_t pid, char* name, std::int32_t limit) {
    char path[256];
    std::snprintf(path, sizeof path, "/proc/%d/cmdline", pid);
    const support::Fd file(::open(path, O_RDONLY | O_CLOEXEC));
    if (!file) {
        copy("", name);
        return true;
    }
    Line line;
    read_first_argument(file.get(), line);
    if (!line.anything_read) {
        return false;
    }
    copy(short_program_name({line.text, line.length}, limit), name);
    return true;
}

} // namespace kt3::allocation
