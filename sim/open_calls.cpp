// SPDX-License-Identifier: MIT
// Opening files, interposed: a path that belongs to the simulated machine is handed on as its place below the
// machine's folder.

#include "driver_writes.hpp"
#include "failing_nodes.hpp"
#include "moving_nodes.hpp"
#include "real_calls.hpp"
#include "redirect.hpp"
#include "shim_checks.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using kt3::sim::kPathSize;
using kt3::sim::machine_root;
using kt3::sim::next;
using kt3::sim::RedirectedPath;

bool needs_mode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

// Before anybody sees a file of the machine, the drivers answer what was written to their nodes.
void let_drivers_answer() {
    if (kt3::sim::writes_pending(machine_root())) {
        kt3::sim::settle_driver_writes(machine_root());
    }
}

// A number that moves is as of now for whoever reads it.
void let_numbers_move(int directory, const char* path) {
    if (kt3::sim::anything_moves(machine_root())) {
        char buffer[kPathSize];
        const int before = errno;
        const char* name = kt3::sim::simulated_name_at(directory, path, buffer);
        errno = before;
        if (name != nullptr) {
            kt3::sim::refresh_moving_file(machine_root(), name);
        }
    }
}

// What a file that is opened for reading comes to: 0 and where it is now, or the error number of a lost one.
kt3::sim::Opening let_nodes_fail(int directory, const char* path) {
    if (!kt3::sim::anything_fails(machine_root())) {
        return {};
    }
    char buffer[kPathSize];
    const char* name = kt3::sim::simulated_name_at(directory, path, buffer);
    return name == nullptr ? kt3::sim::Opening{} : kt3::sim::open_failing_node(machine_root(), name);
}

// The simulated path when the open is one that hands text to a driver, else null.
const char* written_node(int directory, const char* path, int flags, char* buffer) {
    if ((flags & O_ACCMODE) != O_WRONLY) {
        return nullptr;
    }
    const char* name = kt3::sim::simulated_name_at(directory, path, buffer);
    return name != nullptr && kt3::sim::is_driver_node(name) ? name : nullptr;
}

int open_at(int directory, const char* path, int flags, mode_t mode) {
    static const auto real = next<int(int, const char*, int, ...)>("openat");
    const RedirectedPath target(path);
    if (kt3::sim::may_be_simulated(directory, path, target)) {
        let_drivers_answer();
        if (kt3::sim::refused(directory, path, target, kt3::sim::Touch::content)) {
            return -1;
        }
        char buffer[kPathSize];
        if (const char* node = written_node(directory, path, flags, buffer)) {
            return kt3::sim::open_for_driver(machine_root(), node, flags);
        }
        if ((flags & O_ACCMODE) == O_RDONLY && (flags & O_DIRECTORY) == 0) {
            const kt3::sim::Opening opening = let_nodes_fail(directory, path);
            if (opening.error != 0) {
                errno = opening.error;
                return -1;
            }
            if (!opening.instead.empty()) { // a driver that hangs does so for whoever does not want to wait, too
                return real(AT_FDCWD, opening.instead.c_str(), flags & ~O_NONBLOCK, mode);
            }
            let_numbers_move(directory, path);
        }
    }
    return real(directory, target.c_str(), flags, mode);
}

// Streams that hand text to a driver are made on the descriptor to write on; all others are the C library's own.
FILE* open_stream(const char* path, const char* mode) {
    static const auto real = next<FILE*(const char*, const char*)>("fopen");
    const RedirectedPath target(path);
    if (target.redirected()) {
        let_drivers_answer();
        if (kt3::sim::refused(AT_FDCWD, path, target, kt3::sim::Touch::content)) {
            return nullptr;
        }
        const bool writes_only = (mode[0] == 'w' || mode[0] == 'a') && std::strchr(mode, '+') == nullptr;
        if (writes_only && kt3::sim::is_driver_node(path)) {
            const int flags = O_WRONLY | O_CREAT | (std::strchr(mode, 'e') != nullptr ? O_CLOEXEC : 0);
            const int file = open_at(AT_FDCWD, path, flags, 0666);
            return file < 0 ? nullptr : ::fdopen(file, mode);
        }
        if (mode[0] == 'r' && std::strchr(mode, '+') == nullptr) {
            const kt3::sim::Opening opening = let_nodes_fail(AT_FDCWD, path);
            if (opening.error != 0) {
                errno = opening.error;
                return nullptr;
            }
            if (!opening.instead.empty()) {
                return real(opening.instead.c_str(), mode);
            }
            let_numbers_move(AT_FDCWD, path);
        }
    }
    return real(target.c_str(), mode);
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
    KT3_MODE_ARGUMENT(flags) // NOLINT(clang-analyzer-valist.Uninitialized): started right above the use
    return open_at(AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    KT3_MODE_ARGUMENT(flags) // NOLINT(clang-analyzer-valist.Uninitialized): started right above the use
    return open_at(AT_FDCWD, path, flags | O_LARGEFILE, mode);
}

int openat(int directory, const char* path, int flags, ...) {
    KT3_MODE_ARGUMENT(flags) // NOLINT(clang-analyzer-valist.Uninitialized): started right above the use
    return open_at(directory, path, flags, mode);
}

int openat64(int directory, const char* path, int flags, ...) {
    KT3_MODE_ARGUMENT(flags) // NOLINT(clang-analyzer-valist.Uninitialized): started right above the use
    return open_at(directory, path, flags | O_LARGEFILE, mode);
}

int creat(const char* path, mode_t mode) {
    return open_at(AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}

int creat64(const char* path, mode_t mode) {
    return open_at(AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC | O_LARGEFILE, mode);
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
    return open_stream(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
    return open_stream(path, mode);
}

} // extern "C"
