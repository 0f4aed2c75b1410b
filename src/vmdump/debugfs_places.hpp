// SPDX-License-Identifier: MIT
#pragma once
// Where the dumps lie. The driver publishes them below minor 0 whatever adapter is bound.

#include <cstddef>
#include <cstdio>

namespace kt3::vmdump {

inline constexpr char kDriverDirectory[] = "/sys/kernel/debug/dri/0/qn";
inline constexpr char kClients[] = "devices";
inline constexpr char kAllocations[] = "allocations";

inline constexpr std::size_t kPathSize = 1024;

struct PlacePath {
    char text[kPathSize];
};

inline PlacePath directory_path(const char* driver_directory, const char* kind) {
    PlacePath path;
    std::snprintf(path.text, sizeof path.text, "%s/%s", driver_directory, kind);
    return path;
}

inline PlacePath file_path(const char* driver_directory, const char* kind, const char* entry, const char* file) {
    PlacePath path;
    std::snprintf(path.text, sizeof path.text, "%s/%s/%s/%s", driver_directory, kind, entry, file);
    return path;
}

} // namespace kt3::vmdump
