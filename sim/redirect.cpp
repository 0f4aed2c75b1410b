// SPDX-License-Identifier: MIT
#include "redirect.hpp"

#include "real_calls.hpp"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/syscall.h>
#include <unistd.h>

namespace kt3::sim {
namespace {

static_assert(kPathSize >= PATH_MAX, "resolved paths are written into buffers of this size");

constexpr std::string_view kAlways[] = {
    "/sys/kernel/debug", "/sys/bus/pci", "/sys/class/drm", "/sys/dev/char", "/sys/devices", "/dev/dri", "/run/kt3",
};
constexpr std::string_view kWhenPresent = "/proc/";

bool lies_below(std::string_view path, std::string_view folder) {
    return path.substr(0, folder.size()) == folder && (path.size() == folder.size() || path[folder.size()] == '/');
}

bool belongs_to_machine(std::string_view path) {
    for (const std::string_view folder : kAlways) {
        if (lies_below(path, folder)) {
            return true;
        }
    }
    return false;
}

// Raw system calls: the shim's own access() would redirect the answer again. Links such as /proc/self/ns/pid name
// nothing that could be found.
bool exists(const char* path) {
    const int before = errno;
    char target[1];
    const bool found = ::syscall(SYS_faccessat, AT_FDCWD, path, F_OK) == 0 ||
                       ::syscall(SYS_readlinkat, AT_FDCWD, path, target, sizeof target) > 0;
    errno = before;
    return found;
}

// Open descriptors are known by their resolved path, so the machine's folder is needed in that form as well.
// Resolved once for each value of the variable.
struct ResolvedRoot {
    char asked[kPathSize] = "";
    char resolved[kPathSize] = "";
};

const char* resolved_root() {
    thread_local ResolvedRoot cache;
    const char* root = machine_root();
    if (root == nullptr || std::strlen(root) >= sizeof cache.asked) {
        return nullptr;
    }
    if (std::strcmp(root, cache.asked) != 0) {
        const int before = errno;
        if (real_realpath(root, cache.resolved) == nullptr) {
            std::memcpy(cache.resolved, root, std::strlen(root) + 1);
        }
        std::memcpy(cache.asked, root, std::strlen(root) + 1);
        errno = before;
    }
    return cache.resolved;
}

const char* part_below(const char* path, const char* folder) {
    const std::size_t length = std::strlen(folder);
    return std::strncmp(path, folder, length) == 0 && path[length] == '/' ? path + length : nullptr;
}

bool read_descriptor_path(int descriptor, char* buffer) {
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const int before = errno;
    const long length = ::syscall(SYS_readlinkat, AT_FDCWD, link, buffer, kPathSize - 1);
    errno = before;
    if (length <= 0) {
        return false;
    }
    buffer[length] = '\0';
    return true;
}

} // namespace

const char* machine_root() {
    const char* root = std::getenv("KT3_SIM_ROOT");
    return root != nullptr && root[0] == '/' ? root : nullptr;
}

RedirectedPath::RedirectedPath(const char* path) : target_(path) {
    const char* root = path == nullptr || path[0] != '/' ? nullptr : machine_root();
    if (root == nullptr) {
        return;
    }
    const bool always = belongs_to_machine(path);
    if (!always && std::string_view(path).substr(0, kWhenPresent.size()) != kWhenPresent) {
        return;
    }
    const int length = std::snprintf(buffer_, sizeof buffer_, "%s%s", root, path);
    if (length < static_cast<int>(sizeof buffer_) && (always || exists(buffer_))) {
        target_ = buffer_;
    }
}

const char* simulated_name(const char* real_path) {
    const char* root = machine_root();
    if (root == nullptr || real_path == nullptr) {
        return nullptr;
    }
    if (const char* name = part_below(real_path, root)) {
        return name;
    }
    const char* resolved = resolved_root();
    return resolved == nullptr ? nullptr : part_below(real_path, resolved);
}

const char* simulated_name_at(int directory, const char* path, char* buffer) {
    if (machine_root() == nullptr) {
        return nullptr;
    }
    if (path[0] == '/') {
        return RedirectedPath(path).redirected() ? path : simulated_name(path);
    }
    if (directory < 0 || !read_descriptor_path(directory, buffer)) {
        return nullptr;
    }
    const char* folder = simulated_name(buffer);
    if (folder == nullptr || path[0] == '\0') {
        return folder;
    }
    const std::size_t length = std::strlen(buffer);
    const std::size_t added = std::strlen(path);
    if (length + 1 + added >= kPathSize) {
        return nullptr;
    }
    buffer[length] = '/';
    std::memcpy(buffer + length + 1, path, added + 1);
    return folder;
}

} // namespace kt3::sim
