// SPDX-License-Identifier: MIT
#include "drm_nodes.hpp"

#include "real_calls.hpp"
#include "redirect.hpp"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <drm.h>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace kt3::sim {
namespace {

constexpr std::string_view kFolder = "/dev/dri/";
constexpr std::string_view kNames[] = {"card", "renderD", "controlD"};

// What the driver says about itself. The node's file holds it as "name major.minor.patch date description"; an empty
// file stands for the values below, and the word "refused" for a driver that does not answer.
struct DriverVersion {
    bool refused = false;
    int major = 1;
    int minor = 0;
    int patch = 0;
    char name[64] = "kt3sim";
    char date[64] = "20240101";
    char description[128] = "Simulated graphics adapter";
};

DriverVersion read_driver_version(int node) {
    char text[512] = "";
    DriverVersion version;
    const ssize_t length = ::pread(node, text, sizeof text - 1, 0);
    if (length <= 0) {
        return version;
    }
    version.refused = std::string_view(text).substr(0, 7) == "refused";
    DriverVersion found;
    if (std::sscanf(text, "%63s %d.%d.%d %63s %127[^\n]", found.name, &found.major, &found.minor, &found.patch,
                    found.date, found.description) == 6) {
        version = found;
    }
    return version;
}

// Asked twice: the first time for the lengths, then with buffers of those lengths. As the kernel does, fills what
// fits and always reports the true length.
template<typename Length>
void answer_text(const char* text, char* buffer, Length& length) {
    const std::size_t whole = std::strlen(text);
    if (buffer != nullptr) {
        std::memcpy(buffer, text, whole < length ? whole : length);
    }
    length = whole;
}

int answer_version(int node, drm_version& request) {
    const DriverVersion version = read_driver_version(node);
    if (version.refused) {
        errno = EINVAL;
        return -1;
    }
    request.version_major = version.major;
    request.version_minor = version.minor;
    request.version_patchlevel = version.patch;
    answer_text(version.name, request.name, request.name_len);
    answer_text(version.date, request.date, request.date_len);
    answer_text(version.description, request.desc, request.desc_len);
    return 0;
}

bool is_drm_node(int descriptor) {
    char buffer[kPathSize];
    const char* name = simulated_name_at(descriptor, "", buffer);
    return name != nullptr && drm_minor(name).has_value();
}

} // namespace

std::optional<unsigned> drm_minor(const char* simulated_path) {
    std::string_view name = simulated_path;
    if (name.substr(0, kFolder.size()) != kFolder) {
        return std::nullopt;
    }
    name.remove_prefix(kFolder.size());
    for (const std::string_view kind : kNames) {
        if (name.substr(0, kind.size()) == kind) {
            const char* digits = name.data() + kind.size();
            char* end = nullptr;
            const unsigned long minor = std::strtoul(digits, &end, 10);
            const bool number = digits[0] >= '0' && digits[0] <= '9' && *end == '\0';
            return number ? std::optional(static_cast<unsigned>(minor)) : std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace kt3::sim

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == DRM_IOCTL_VERSION && kt3::sim::is_drm_node(descriptor)) {
        return kt3::sim::answer_version(descriptor, *static_cast<drm_version*>(argument));
    }
    static const auto real = kt3::sim::next<int(int, unsigned long, ...)>("ioctl");
    return real(descriptor, request, argument);
}
