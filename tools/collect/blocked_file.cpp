// SPDX-License-Identifier: MIT
#include "collect/blocked_file.hpp"

#include "support/owned.hpp"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <fstream>
#include <sstream>
#include <sys/syscall.h>
#include <sys/uio.h>

namespace kt3::collect {
namespace {

// How a system call names its file: by a descriptor, by a path, or by a path below a descriptor.
enum class NamedBy { descriptor, path, path_at };

struct FileCall {
    long number;
    NamedBy named_by;
};

constexpr FileCall kFileCalls[] = {
    {SYS_read, NamedBy::descriptor},
    {SYS_pread64, NamedBy::descriptor},
    {SYS_write, NamedBy::descriptor},
    {SYS_pwrite64, NamedBy::descriptor},
    {SYS_getdents64, NamedBy::descriptor},
    {SYS_ioctl, NamedBy::descriptor},
    {SYS_flock, NamedBy::descriptor},
    {SYS_fstat, NamedBy::descriptor},
    {SYS_close, NamedBy::descriptor},
    {SYS_openat, NamedBy::path_at},
    {SYS_newfstatat, NamedBy::path_at},
    {SYS_faccessat, NamedBy::path_at},
    {SYS_readlinkat, NamedBy::path_at},
#ifdef SYS_faccessat2
    {SYS_faccessat2, NamedBy::path_at},
#endif
#ifdef SYS_open
    {SYS_open, NamedBy::path},
    {SYS_stat, NamedBy::path},
    {SYS_lstat, NamedBy::path},
    {SYS_access, NamedBy::path},
    {SYS_readlink, NamedBy::path},
#endif
};

constexpr int kDeepestChild = 4; // shells between us and a program

std::string link_text(const std::string& link) {
    char text[PATH_MAX];
    const ssize_t length = ::readlink(link.c_str(), text, sizeof text);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

std::string text_in_memory_of(pid_t process, unsigned long address) {
    char text[PATH_MAX] = {};
    std::size_t used = 0;
    while (used < sizeof text - 1) { // a page that is not there ends the reading early, so never beyond one
        const std::size_t piece = std::min<std::size_t>(4096 - (address + used) % 4096, sizeof text - 1 - used);
        iovec here{text + used, piece};
        iovec there{reinterpret_cast<void*>(address + used), piece}; // NOLINT(performance-no-int-to-ptr)
        const ssize_t got = ::process_vm_readv(process, &here, 1, &there, 1, 0);
        if (got <= 0 || std::find(text + used, text + used + got, '\0') != text + used + got) {
            break;
        }
        used += static_cast<std::size_t>(got);
    }
    return text;
}

std::string descriptor_path(pid_t process, int descriptor) {
    return link_text(descriptor == AT_FDCWD ? fmt::format("/proc/{}/cwd", process)
                                            : fmt::format("/proc/{}/fd/{}", process, descriptor));
}

std::string file_of_call(pid_t process, const FileCall& call, const unsigned long (&arguments)[6]) {
    if (call.named_by == NamedBy::descriptor) {
        return descriptor_path(process, static_cast<int>(arguments[0]));
    }
    const bool below = call.named_by == NamedBy::path_at;
    std::string path = text_in_memory_of(process, arguments[below ? 1 : 0]);
    if (below && !path.starts_with('/')) {
        path = descriptor_path(process, static_cast<int>(arguments[0])) + '/' + path;
    }
    return path;
}

pid_t first_child(pid_t process) {
    std::ifstream list(fmt::format("/proc/{0}/task/{0}/children", process));
    pid_t child = 0;
    list >> child;
    return child;
}

std::string name_of(pid_t process) {
    std::ifstream file(fmt::format("/proc/{}/comm", process));
    std::string name;
    std::getline(file, name);
    return name;
}

} // namespace

std::string tail_of(const std::string& path) {
    const std::size_t last = path.rfind('/');
    const std::size_t before = last == std::string::npos || last == 0 ? std::string::npos : path.rfind('/', last - 1);
    return before == std::string::npos ? path : path.substr(before + 1);
}

std::optional<std::string> file_waited_for(pid_t process) {
    std::ifstream file(fmt::format("/proc/{}/syscall", process));
    long number = 0;
    unsigned long arguments[6] = {};
    if (!(file >> number >> std::hex)) { // "running", or not ours to look into
        return std::nullopt;
    }
    for (unsigned long& argument : arguments) {
        file >> argument;
    }
    const auto* call = std::find_if(std::begin(kFileCalls), std::end(kFileCalls),
                                    [&](const FileCall& row) { return row.number == number; });
    const std::string path = call == std::end(kFileCalls) ? "" : file_of_call(process, *call, arguments);
    // Pipes and the like have no path.
    return path.starts_with('/') ? std::optional(tail_of(path)) : std::nullopt;
}

std::optional<std::string> cause_of_waiting(pid_t process) {
    if (auto file = file_waited_for(process)) {
        return file;
    }
    pid_t program = first_child(process);
    for (int depth = 1; program > 0 && depth < kDeepestChild && first_child(program) > 0; ++depth) {
        program = first_child(program);
    }
    if (program <= 0) {
        return std::nullopt;
    }
    const std::string name = name_of(program);
    const auto file = file_waited_for(program);
    return file ? fmt::format("{} ({})", *file, name) : name;
}

} // namespace kt3::collect
