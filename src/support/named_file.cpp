#include "support/named_file.hpp"

#include "support/interrupted_calls.hpp"

#include <fcntl.h>
#include <string_view>

namespace kt3::support {
namespace {

// As many links as the kernel itself follows.
constexpr int kMostLinks = 40;

// Opening a FIFO or a terminal has no effect on this process.
constexpr int kHarmlessly = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

Fd open_once(const std::string& path, int flags) {
    return Fd(repeat_interrupted([&] { return ::open(path.c_str(), flags | kHarmlessly); }));
}

// Replaces `path`, a symbolic link, by what it points to.
bool follow_link(std::string& path) {
    char target[4096];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    if (length <= 0 || length == static_cast<ssize_t>(sizeof target)) {
        return false;
    }
    const std::string_view text(target, static_cast<std::size_t>(length));
    path = text.front() == '/' ? std::string(text) : path.substr(0, path.rfind('/') + 1) + std::string(text);
    return true;
}

// The links of /proc/self/fd lead to open files whose names may be gone; those are opened through the link itself.
Fd open_final(std::string& path, int access) {
    const std::string given = path;
    for (int links = 0; links < kMostLinks; ++links) {
        Fd file = open_once(path, access | O_NOFOLLOW);
        if (!file && errno == ENOENT && links > 0) {
            file = open_once(given, access);
        }
        if (file || errno != ELOOP || !follow_link(path)) {
            return file;
        }
    }
    errno = ELOOP;
    return {};
}

// 0, or why the open file is refused.
int refusal(const struct stat& status) {
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        return ENXIO;
    }
    return status.st_size > kLargestFile ? EFBIG : 0;
}

} // namespace

NamedFile open_named(const char* path, int access) {
    NamedFile named{{}, {}, path};
    named.file = open_final(named.path, access);
    if (!named.file) {
        return named;
    }
    const int error = ::fstat(named.file.get(), &named.status) != 0 ? errno : refusal(named.status);
    if (error != 0) {
        named.file.reset();
        errno = error;
    }
    return named;
}

} // namespace kt3::support
