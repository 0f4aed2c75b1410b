// SPDX-License-Identifier: MIT
#include "support/file_reading.hpp"

#include "support/interrupted_calls.hpp"

namespace kt3::support {
namespace {

enum class Until { full_or_end, newline };

PageRead read_until(Until until, int file, char* buffer, std::size_t size) {
    PageRead page;
    while (page.bytes < size) {
        const ssize_t got = read_once(file, buffer + page.bytes, size - page.bytes);
        if (got <= 0) {
            page.failed = got < 0;
            break;
        }
        page.bytes += static_cast<std::size_t>(got);
        if (until == Until::newline && buffer[page.bytes - 1] == '\n') {
            break;
        }
    }
    return page;
}

} // namespace

Fd open_for_reading(int directory, const char* name) {
    return Fd(::openat(directory, name, O_RDONLY | O_CLOEXEC));
}

ssize_t read_once(int file, char* buffer, std::size_t size) {
    return repeat_interrupted([&] { return ::read(file, buffer, size); });
}

PageRead read_whole(int file, char* buffer, std::size_t size) {
    return read_until(Until::full_or_end, file, buffer, size);
}

std::size_t read_page(int file, char* buffer, std::size_t size) {
    return read_whole(file, buffer, size).bytes;
}

std::size_t read_page_at(int directory, const char* name, char* buffer, std::size_t size) {
    const Fd file = open_for_reading(directory, name);
    return file ? read_page(file.get(), buffer, size) : 0;
}

std::size_t read_node_at(int directory, const char* name, char* buffer, std::size_t size) {
    const Fd file = open_for_reading(directory, name);
    return file ? read_until(Until::newline, file.get(), buffer, size).bytes : 0;
}

} // namespace kt3::support
