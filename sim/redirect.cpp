#include "redirect.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/syscall.h>
#include <unistd.h>

namespace kt3::sim {
namespace {

constexpr std::string_view kAlways[] = {
    "/sys/kernel/debug", "/sys/bus/pci", "/sys/class/drm", "/sys/dev/char", "/sys/devices", "/dev/dri",
};
constexpr std::string_view kWhenPresent = "/proc";

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

// A raw system call: the shim's own access() would redirect the answer again.
bool exists(const char* path) {
    return ::syscall(SYS_faccessat, AT_FDCWD, path, F_OK) == 0;
}

} // namespace

const char* machine_root() {
    const char* root = std::getenv("KT3_SIM_ROOT");
    return root != nullptr && root[0] == '/' ? root : nullptr;
}

RedirectedPath::RedirectedPath(const char* path) : target_(path) {
    const char* root = machine_root();
    if (root == nullptr || path == nullptr || path[0] != '/') {
        return;
    }
    const bool always = belongs_to_machine(path);
    if (!always && !lies_below(path, kWhenPresent)) {
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
    const std::size_t length = std::strlen(root);
    return std::strncmp(real_path, root, length) == 0 && real_path[length] == '/' ? real_path + length : nullptr;
}

} // namespace kt3::sim
