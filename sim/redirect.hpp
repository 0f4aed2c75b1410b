#pragma once
// Which paths belong to the simulated machine, and where they really are.

#include <cstddef>

namespace kt3::sim {

// The folder that holds the simulated machine, from KT3_SIM_ROOT; null when there is none.
const char* machine_root();

// A path as the kernel is to see it: `path` itself, or its place below the machine's folder.
//
// Below the GPU-related parts of /sys and /dev/dri every path is redirected, so what the machine does not have is
// absent. Below /proc a path is redirected only when the machine has it, so that /proc/self and every process of the
// real machine stay visible. Paths too long to redirect are left alone.
class RedirectedPath {
public:
    explicit RedirectedPath(const char* path);
    [[nodiscard]] const char* c_str() const { return target_; }
    [[nodiscard]] bool redirected() const { return target_ == buffer_; }

private:
    char buffer_[4096];
    const char* target_;
};

// The simulated path of a real one below the machine's folder, or null when it lies elsewhere.
const char* simulated_name(const char* real_path);

} // namespace kt3::sim
