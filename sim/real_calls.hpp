// SPDX-License-Identifier: MIT
#pragma once
// The definitions that the shim's own replace.

#include <dlfcn.h>

namespace kt3::sim {

// The next definition of `name` in the order of the loaded objects.
template<typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

// `resolved` holds kPathSize bytes.
inline char* real_realpath(const char* path, char* resolved) {
    static const auto real = next<char*(const char*, char*)>("realpath");
    return real(path, resolved);
}

} // namespace kt3::sim
