// SPDX-License-Identifier: MIT
#pragma once
// The debugfs directory of one adapter in a fake kernel, bound as far as the readers of this folder need it.

#include "allocation/debug_tree.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/fake_kernel.hpp"

#include <cstring>
#include <dirent.h>
#include <memory>
#include <string>
#include <vector>

namespace kt3::tests {

class DriverTree {
public:
    static constexpr const char* kDirectory = "/sys/kernel/debug/dri/0/wy";

    DriverTree() {
        std::strcpy(sys_kernel_debug_ID_dri_ADAPTER_path, kDirectory);
        vec_memleak_result.clear();
        kernel.directory(path("allocations")).directory(path("devices"));
    }

    static std::string path(const std::string& name) { return std::string(kDirectory) + "/" + name; }

    DriverTree& allocation(const std::string& entry, std::string_view page) {
        kernel.file(path("allocations/" + entry + "/info"), page);
        return *this;
    }
    DriverTree& allocation(const std::string& entry, std::int32_t device, std::int32_t segment, std::int64_t size) {
        return allocation(entry, "handle=" + entry + "\ndevice=" + std::to_string(device) + "\nsize=" +
                                     std::to_string(size) + "\nsegmentid=" + std::to_string(segment) + "\n");
    }
    DriverTree& va_device(const std::string& entry, std::string_view page) {
        kernel.file(path("devices/" + entry + "/info"), page);
        return *this;
    }
    DriverTree& process(int pid, std::string_view command_line) {
        kernel.file("/proc/" + std::to_string(pid) + "/cmdline", command_line);
        return *this;
    }

    // The entries of a directory in the order in which a reader of the machine gets them.
    [[nodiscard]] static std::vector<std::string> listing(const std::string& name) { return entries_of(path(name)); }
    [[nodiscard]] static std::vector<std::string> entries_of(const std::string& directory) {
        const std::unique_ptr<DIR, int (*)(DIR*)> all(::opendir(directory.c_str()), ::closedir);
        std::vector<std::string> names;
        while (const dirent* entry = ::readdir(all.get())) {
            if (entry->d_name[0] != '.') {
                names.emplace_back(entry->d_name);
            }
        }
        return names;
    }

    static allocation::DebugTree tree(bool va_driver = true) { return {kDirectory, va_driver}; }

    FakeKernel kernel;
};

inline std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

} // namespace kt3::tests
