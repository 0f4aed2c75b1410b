// Opening files, interposed: a path that belongs to the simulated machine is handed on as its place below the
// machine's folder.

#include "real_calls.hpp"
#include "redirect.hpp"

#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

using kt3::sim::next;
using kt3::sim::RedirectedPath;

bool needs_mode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

int open_at(int directory, const char* path, int flags, mode_t mode) {
    static const auto real = next<int(int, const char*, int, ...)>("openat");
    return real(directory, RedirectedPath(path).c_str(), flags, mode);
}

} // namespace

// The mode argument is there only when the flags ask for it.
#define KT3_MODE_ARGUMENT(flags)                                                                                       \
    mode_t mode = 0;                                                                                                   \
    if (needs_mode(flags)) {                                                                                           \
        std::va_list arguments;                                                                                        \
        va_start(arguments, flags);                                                                                    \
        mode = va_arg(arguments, mode_t);                                                                              \
        va_end(arguments);                                                                                             \
    }

extern "C" {

int open(const char* path, int flags, ...) {
    KT3_MODE_ARGUMENT(flags)
    return open_at(AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    KT3_MODE_ARGUMENT(flags)
    return open_at(AT_FDCWD, path, flags | O_LARGEFILE, mode);
}

int openat(int directory, const char* path, int flags, ...) {
    KT3_MODE_ARGUMENT(flags)
    return open_at(directory, path, flags, mode);
}

int openat64(int directory, const char* path, int flags, ...) {
    KT3_MODE_ARGUMENT(flags)
    return open_at(directory, path, flags | O_LARGEFILE, mode);
}

// What programs built with _FORTIFY_SOURCE call when the flags ask for no mode.
int __open_2(const char* path, int flags) {
    return open_at(AT_FDCWD, path, flags, 0);
}

int __open64_2(const char* path, int flags) {
    return open_at(AT_FDCWD, path, flags | O_LARGEFILE, 0);
}

int __openat_2(int directory, const char* path, int flags) {
    return open_at(directory, path, flags, 0);
}

int __openat64_2(int directory, const char* path, int flags) {
    return open_at(directory, path, flags | O_LARGEFILE, 0);
}

FILE* fopen(const char* path, const char* mode) {
    static const auto real = next<FILE*(const char*, const char*)>("fopen");
    return real(RedirectedPath(path).c_str(), mode);
}

FILE* fopen64(const char* path, const char* mode) {
    return fopen(path, mode);
}

} // extern "C"
