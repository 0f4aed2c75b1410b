// SPDX-License-Identifier: MIT
#pragma once
// A simulated driver with dumps, and a ps that answers what the test tells it.

#include "support/fake_kernel.hpp"

#include <cstdlib>
#include <dirent.h>
#include <string>
#include <vector>

namespace kt3::tests {

// Out of line, because compilers warn falsely about long constant strings that are built in place.
[[gnu::noinline]] inline std::string repeated(std::size_t count, char c) {
    return std::string(count, c);
}

inline const std::string kDriver = "/sys/kernel/debug/dri/0/qn";

// Client directories in the order in which the folder lists them.
inline std::vector<std::string> listed_clients() {
    std::vector<std::string> names;
    DIR* folder = ::opendir((kDriver + "/devices").c_str());
    while (const dirent* entry = ::readdir(folder)) {
        if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
        }
    }
    ::closedir(folder);
    return names;
}

class VmKernel : public FakeKernel {
public:
    VmKernel() {
        directory(kDriver + "/devices").directory(kDriver + "/allocations").directory("/ps/names").directory("/bin");
        const std::string place = real("/ps").string();
        file("/bin/ps",
             "#!/bin/sh\necho \"ps $*\" >> " + place + "/asked\nexec cat " + place + "/names/\"$2\" 2>/dev/null\n");
        std::filesystem::permissions(real("/bin/ps"), std::filesystem::perms::owner_all);
        const char* path = std::getenv("PATH");
        path_ = path == nullptr ? "/usr/bin:/bin" : path;
        ::setenv("PATH", (real("/bin").string() + ":" + path_).c_str(), 1);
    }
    ~VmKernel() { ::setenv("PATH", path_.c_str(), 1); }
    VmKernel(const VmKernel&) = delete;
    VmKernel& operator=(const VmKernel&) = delete;

    // A client with its owner and dump; ps answers `name` for the process.
    VmKernel& client(const std::string& entry, const std::string& pid, const std::string& name,
                     const std::string& dump) {
        file(kDriver + "/devices/" + entry + "/info", "name = x\npid = " + pid + "\n");
        file(kDriver + "/devices/" + entry + "/vm_info", dump);
        return process(pid, name + "\n");
    }
    VmKernel& process(const std::string& pid, const std::string& answer) {
        file("/ps/names/" + pid, answer);
        return *this;
    }
    VmKernel& allocation(const std::string& entry, const std::string& text) {
        file(kDriver + "/allocations/" + entry + "/vm_info", text);
        return *this;
    }
    [[nodiscard]] std::string client_file(const std::string& entry, const std::string& name) const {
        return kDriver + "/devices/" + entry + "/" + name;
    }
    // The commands that ps was run with, one a line.
    [[nodiscard]] std::string asked() const { return text("/ps/asked"); }

private:
    std::string path_;
};

} // namespace kt3::tests
