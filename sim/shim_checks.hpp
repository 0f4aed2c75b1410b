// SPDX-License-Identifier: MIT
#pragma once
// What every interposed call asks about its path before it goes on.

#include "redirect.hpp"
#include "refusals.hpp"

#include <cerrno>
#include <fcntl.h>

namespace kt3::sim {

// Whether the path, taken relative to the directory, can name a file of the machine at all.
inline bool may_be_simulated(int directory, const char* path, const RedirectedPath& target) {
    return target.redirected() || (path != nullptr && path[0] != '/' && directory >= 0 && machine_root() != nullptr);
}

// Whether the machine refuses its user this file; errno says so then.
inline bool refused(int directory, const char* path, const RedirectedPath& target, Touch touch) {
    if (!may_be_simulated(directory, path, target) || !refuses_anything(machine_root())) {
        return false;
    }
    char buffer[kPathSize];
    const char* name = simulated_name_at(directory, path, buffer);
    const int before = errno;
    if (name == nullptr || !is_refused(machine_root(), name, touch)) {
        errno = before;
        return false;
    }
    errno = EACCES;
    return true;
}

} // namespace kt3::sim
