// SPDX-License-Identifier: MIT
#include "support/named_file.hpp"

#include "support/interrupted_calls.hpp"

#include <algorithm>
#include <fcntl.h>
#include <string_view>
#include <vector>

namespace kt3::support {
namespace {

// As many links as the kernel itself follows.
constexpr int kMostLinks = 40;

// Opening a FIFO or a terminal has no effect on this process.
constexpr int kHarmlessly = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

Fd open_once(const std::string& path, int flags) {
    return Fd(repeat_interrupted([&] { return ::open(path.c_str(), flags | kHarmlessly); }));
}

// Replaces `path`, a symbolic link, by what it points to, and notes its owner.
bool follow_link(std::string& path, std::vector<uid_t>& link_owners) {
    const Fd link = open_once(path, O_PATH | O_NOFOLLOW);
    struct stat status {};
    char target[4096];
    if (!link || ::fstat(link.get(), &status) != 0) {
        return false;
    }
    const ssize_t length = ::readlinkat(link.get(), "", target, sizeof target);
    if (length <= 0 || length == static_cast<ssize_t>(sizeof target)) {
        return false;
    }
    const std::string_view text(target, static_cast<std::size_t>(length));
    path = text.front() == '/' ? std::string(text) : path.substr(0, path.rfind('/') + 1) + std::string(text);
    link_owners.push_back(status.st_uid);
    return true;
}

// The links of /proc/self/fd lead to open files whose names may be gone; those are opened through the link itself.
Fd open_final(std::string& path, int access, std::vector<uid_t>& link_owners) {
    const std::string given = path;
    for (int links = 0; links < kMostLinks; ++links) {
        Fd file = open_once(path, access | O_NOFOLLOW);
        if (!file && errno == ENOENT && links > 0) {
            file = open_once(given, access);
        }
        if (file || errno != ELOOP || !follow_link(path, link_owners)) {
            return file;
        }
    }
    errno = ELOOP;
    return {};
}

bool may_follow(const std::vector<uid_t>& link_owners, uid_t file_owner) {
    return std::all_of(link_owners.begin(), link_owners.end(), [file_owner](uid_t link_owner) {
        const uid_t self = ::geteuid();
        return link_owner == self || link_owner == file_owner || (link_owner == 0 && file_owner == self);
    });
}

// 0, or why the open file is refused.
int refusal(const struct stat& status, const std::vector<uid_t>& link_owners) {
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        return ENXIO;
    }
    if (status.st_size > kLargestFile) {
        return EFBIG;
    }
    return may_follow(link_owners, status.st_uid) ? 0 : EACCES;
}

} // namespace

NamedFile open_named(const char* path, int access) {
    NamedFile named{{}, {}, path};
    std::vector<uid_t> link_owners;
    named.file = open_final(named.path, access, link_owners);
    if (!named.file) {
        // A file that is made there would be the caller's.
        if (errno == ENOENT && !may_follow(link_owners, ::geteuid())) {
            errno = EACCES;
        }
        return named;
    }
    const int error = ::fstat(named.file.get(), &named.status) != 0 ? errno : refusal(named.status, link_owners);
    if (error != 0) {
        named.file.reset();
        errno = error;
    }
    return named;
}

} // namespace kt3::support
