// SPDX-License-Identifier: MIT
#pragma once
// Which paths belong to the simulated machine, and where they really are.

#include <cstddef>

namespace kt3::sim {

// The longest path the shim handles; longer ones are left alone.
inline constexpr std::size_t kPathSize = 4096;

// The folder that holds the simulated machine, from KT3_SIM_ROOT; null when there is none.
const char* machine_root();

// A path as the kernel is to see it: `path` itself, or its place below the machine's folder.
//
// Below the GPU-related parts of /sys and /dev/dri every path is redirected, so what the machine does not have is
// absent. Below /proc a path is redirected only when the machine has it, so that /proc/self and every process of the
// real machine stay visible.
class RedirectedPath {
public:
    explicit RedirectedPath(const char* path);
    [[nodiscard]] const char* c_str() const { return target_; }
    [[nodiscard]] bool redirected() const { return target_ == buffer_; }

private:
    char buffer_[kPathSize];
    const char* target_;
};

// The simulated path of a real one below the machine's folder (a pointer into it), or null when it lies elsewhere.
const char* simulated_name(const char* real_path);

// The simulated path that `path`, taken relative to the open directory, names; null when it names nothing of the
// machine. An empty `path` stands for the open file itself. `buffer` holds kPathSize bytes.
const char* simulated_name_at(int directory, const char* path, char* buffer);

} // namespace kt3::sim
