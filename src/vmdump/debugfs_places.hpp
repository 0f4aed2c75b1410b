#pragma once
// Where the dumps lie. The driver publishes them below minor 0 whatever adapter is bound.

#include <cstddef>
#include <cstdio>
#include <unistd.h>

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

// A client that goes away in the middle of a walk spoils it; the next walk no longer sees the client. Calls `walk` up
// to 10 times, until it gives true, with a millisecond behind every failure.
template<typename Walk>
bool walk_with_retries(Walk walk) {
    for (int tries = 0; tries < 10; ++tries) {
        if (walk()) {
            return true;
        }
        ::usleep(1000);
    }
    return false;
}

} // namespace kt3::vmdump
