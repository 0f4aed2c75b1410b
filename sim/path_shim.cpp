// The C library's path calls, interposed: a path that belongs to the simulated machine is handed on as its place
// below the machine's folder.

#include "redirect.hpp"

#include <cstdarg>
#include <cstdio>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

using kt3::sim::RedirectedPath;

// The next definition of `name` behind ours.
template<typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool needs_mode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
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
    static const auto real = next<int(const char*, int, ...)>("open");
    return real(RedirectedPath(path).c_str(), flags, mode);
}

int open64(const char* path, int flags, ...) {
    KT3_MODE_ARGUMENT(flags)
    return open(path, flags | O_LARGEFILE, mode);
}

int openat(int directory, const char* path, int flags, ...) {
    KT3_MODE_ARGUMENT(flags)
    static const auto real = next<int(int, const char*, int, ...)>("openat");
    return real(directory, RedirectedPath(path).c_str(), flags, mode);
}

int openat64(int directory, const char* path, int flags, ...) {
    KT3_MODE_ARGUMENT(flags)
    return openat(directory, path, flags | O_LARGEFILE, mode);
}

FILE* fopen(const char* path, const char* mode) {
    static const auto real = next<FILE*(const char*, const char*)>("fopen");
    return real(RedirectedPath(path).c_str(), mode);
}

FILE* fopen64(const char* path, const char* mode) {
    return fopen(path, mode);
}

DIR* opendir(const char* path) {
    static const auto real = next<DIR*(const char*)>("opendir");
    return real(RedirectedPath(path).c_str());
}

} // extern "C"
