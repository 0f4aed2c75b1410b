// SPDX-License-Identifier: MIT
#include "observe/adapter/avoided.hpp"

#include <algorithm>
#include <climits>
#include <fmt/format.h>
#include <unistd.h>

namespace kt3::observe {
namespace {

std::vector<std::string>& avoided() {
    static auto& tails = *new std::vector<std::string>;
    return tails;
}

std::string path_of(int directory) {
    char path[PATH_MAX];
    const ssize_t length = ::readlink(fmt::format("/proc/self/fd/{}", directory).c_str(), path, sizeof path);
    return {path, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

} // namespace

void avoid_files(std::vector<std::string> tails) {
    avoided() = std::move(tails);
}

bool is_avoided(int directory, const char* name) {
    if (avoided().empty()) {
        return false;
    }
    const std::string path = name[0] == '/' ? name : path_of(directory) + '/' + name;
    return std::any_of(avoided().begin(), avoided().end(),
                       [&](const std::string& tail) { return path.ends_with('/' + tail); });
}

} // namespace kt3::observe
