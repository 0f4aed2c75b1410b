#include "support/file_reading.hpp"

#include <cerrno>

namespace kt3::support {
namespace {

enum class Until { full_or_end, newline };

std::size_t read_until(Until until, int file, char* buffer, std::size_t size) {
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t got = ::read(file, buffer + filled, size - filled);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        filled += static_cast<std::size_t>(got);
        if (until == Until::newline && buffer[filled - 1] == '\n') {
            break;
        }
    }
    return filled;
}

} // namespace

Fd open_for_reading(int directory, const char* name) {
    return Fd(::openat(directory, name, O_RDONLY | O_CLOEXEC));
}

std::size_t read_page(int file, char* buffer, std::size_t size) {
    return read_until(Until::full_or_end, file, buffer, size);
}

std::size_t read_page_at(int directory, const char* name, char* buffer, std::size_t size) {
    const Fd file = open_for_reading(directory, name);
    return file ? read_until(Until::full_or_end, file.get(), buffer, size) : 0;
}

std::size_t read_line_at(int directory, const char* name, char* buffer, std::size_t size) {
    const Fd file = open_for_reading(directory, name);
    return file ? read_until(Until::newline, file.get(), buffer, size) : 0;
}

} // namespace kt3::support
