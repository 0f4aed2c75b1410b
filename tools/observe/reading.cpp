// SPDX-License-Identifier: MIT
#include "observe/reading.hpp"

#include <cerrno>

namespace kt3::observe {

Absence absence_of(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
        return Absence::permission;
    case ENOENT:
        return Absence::no_node;
    default:
        return Absence::driver;
    }
}

} // namespace kt3::observe
