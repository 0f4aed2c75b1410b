// SPDX-License-Identifier: MIT
// Asking about files, interposed: status, access rights, links and resolved paths. Answers carry simulated names, and
// the DRM nodes of the machine are reported as character devices.

#include "drm_nodes.hpp"
#include "real_calls.hpp"
#include "redirect.hpp"
#include "shim_checks.hpp"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

using kt3::sim::drm_minor;
using kt3::sim::kDrmMajor;
using kt3::sim::kPathSize;
using kt3::sim::next;
using kt3::sim::RedirectedPath;
using kt3::sim::refused;
using kt3::sim::simulated_name_at;
using kt3::sim::Touch;

std::optional<unsigned> drm_minor_at(int directory, const char* path) {
    char buffer[kPathSize];
    const char* name = path == nullptr ? nullptr : simulated_name_at(directory, path, buffer);
    return name == nullptr ? std::nullopt : drm_minor(name);
}

// Only plain files can stand for a node, so nothing else costs a look at its name.
template<typename Stat>
int present(int result, int directory, const char* path, Stat* status) {
    if (result != 0 || !S_ISREG(status->st_mode)) {
        return result;
    }
    if (const auto minor = drm_minor_at(directory, path)) {
        status->st_mode = S_IFCHR | (status->st_mode & ~static_cast<mode_t>(S_IFMT));
        status->st_rdev = makedev(kDrmMajor, *minor);
        status->st_size = 0;
        status->st_blocks = 0;
    }
    return result;
}

Touch touch_of(int access_mode) {
    return access_mode == F_OK ? Touch::status : Touch::content;
}

} // namespace

extern "C" {

#define KT3_STATUS_CALLS(record, stat_name, lstat_name, fstat_name, fstatat_name)                                      \
    int stat_name(const char* path, struct record* status) noexcept {                                                  \
        static const auto real = next<int(const char*, struct record*)>(#stat_name);                                   \
        const RedirectedPath target(path);                                                                             \
        const int result = refused(AT_FDCWD, path, target, Touch::status) ? -1 : real(target.c_str(), status);         \
        return present(result, AT_FDCWD, path, status);                                                                \
    }                                                                                                                  \
    int lstat_name(const char* path, struct record* status) noexcept {                                                 \
        static const auto real = next<int(const char*, struct record*)>(#lstat_name);                                  \
        const RedirectedPath target(path);                                                                             \
        const int result = refused(AT_FDCWD, path, target, Touch::status) ? -1 : real(target.c_str(), status);         \
        return present(result, AT_FDCWD, path, status);                                                                \
    }                                                                                                                  \
    int fstat_name(int descriptor, struct record* status) noexcept {                                                   \
        static const auto real = next<int(int, struct record*)>(#fstat_name);                                          \
        return present(real(descriptor, status), descriptor, "", status);                                              \
    }                                                                                                                  \
    int fstatat_name(int directory, const char* path, struct record* status, int flags) noexcept {                     \
        static const auto real = next<int(int, const char*, struct record*, int)>(#fstatat_name);                      \
        const RedirectedPath target(path);                                                                             \
        const bool no = refused(directory, path, target, Touch::status);                                               \
        return present(no ? -1 : real(directory, target.c_str(), status, flags), directory, path, status);             \
    }

KT3_STATUS_CALLS(stat, stat, lstat, fstat, fstatat)
KT3_STATUS_CALLS(stat64, stat64, lstat64, fstat64, fstatat64)

int statx(int directory, const char* path, int flags, unsigned mask, struct statx* status) noexcept {
    static const auto real = next<int(int, const char*, int, unsigned, struct statx*)>("statx");
    const RedirectedPath target(path);
    const bool no = refused(directory, path, target, Touch::status);
    const int result = no ? -1 : real(directory, target.c_str(), flags, mask, status);
    if (result == 0 && S_ISREG(status->stx_mode)) {
        if (const auto minor = drm_minor_at(directory, path)) {
            status->stx_mode = static_cast<__u16>(S_IFCHR | (status->stx_mode & 07777));
            status->stx_rdev_major = kDrmMajor;
            status->stx_rdev_minor = *minor;
            status->stx_size = 0;
            status->stx_blocks = 0;
        }
    }
    return result;
}

int access(const char* path, int mode) noexcept {
    static const auto real = next<int(const char*, int)>("access");
    const RedirectedPath target(path);
    return refused(AT_FDCWD, path, target, touch_of(mode)) ? -1 : real(target.c_str(), mode);
}

int faccessat(int directory, const char* path, int mode, int flags) noexcept {
    static const auto real = next<int(int, const char*, int, int)>("faccessat");
    const RedirectedPath target(path);
    return refused(directory, path, target, touch_of(mode)) ? -1 : real(directory, target.c_str(), mode, flags);
}

int euidaccess(const char* path, int mode) noexcept {
    return faccessat(AT_FDCWD, path, mode, AT_EACCESS);
}

int eaccess(const char* path, int mode) noexcept {
    return faccessat(AT_FDCWD, path, mode, AT_EACCESS);
}

ssize_t readlink(const char* path, char* buffer, size_t size) noexcept {
    static const auto real = next<ssize_t(const char*, char*, size_t)>("readlink");
    const RedirectedPath target(path);
    return refused(AT_FDCWD, path, target, Touch::status) ? -1 : real(target.c_str(), buffer, size);
}

ssize_t readlinkat(int directory, const char* path, char* buffer, size_t size) noexcept {
    static const auto real = next<ssize_t(int, const char*, char*, size_t)>("readlinkat");
    const RedirectedPath target(path);
    return refused(directory, path, target, Touch::status) ? -1 : real(directory, target.c_str(), buffer, size);
}

char* realpath(const char* path, char* resolved) noexcept {
    const RedirectedPath target(path);
    char buffer[kPathSize];
    if (refused(AT_FDCWD, path, target, Touch::status)) {
        return nullptr;
    }
    if (kt3::sim::real_realpath(target.c_str(), buffer) == nullptr) {
        return nullptr;
    }
    const char* name = target.redirected() ? kt3::sim::simulated_name(buffer) : nullptr;
    const char* answer = name != nullptr ? name : buffer;
    if (resolved == nullptr) {
        return ::strdup(answer);
    }
    std::memcpy(resolved, answer, std::strlen(answer) + 1);
    return resolved;
}

char* canonicalize_file_name(const char* path) noexcept {
    return realpath(path, nullptr);
}

// Listing tools ask for these about every file they show.
ssize_t getxattr(const char* path, const char* name, void* value, size_t size) noexcept {
    static const auto real = next<ssize_t(const char*, const char*, void*, size_t)>("getxattr");
    return real(RedirectedPath(path).c_str(), name, value, size);
}

ssize_t lgetxattr(const char* path, const char* name, void* value, size_t size) noexcept {
    static const auto real = next<ssize_t(const char*, const char*, void*, size_t)>("lgetxattr");
    return real(RedirectedPath(path).c_str(), name, value, size);
}

// What programs built with _FORTIFY_SOURCE call; the buffer sizes were checked where the call was compiled or are
// large enough for any path.
ssize_t __readlink_chk(const char* path, char* buffer, size_t size, size_t buffer_size) noexcept {
    return readlink(path, buffer, size < buffer_size ? size : buffer_size);
}

ssize_t __readlinkat_chk(int directory, const char* path, char* buffer, size_t size, size_t buffer_size) noexcept {
    return readlinkat(directory, path, buffer, size < buffer_size ? size : buffer_size);
}

char* __realpath_chk(const char* path, char* resolved, size_t) noexcept {
    return realpath(path, resolved);
}

} // extern "C"
