// SPDX-License-Identifier: MIT
#pragma once
// The shared object as a client sees it: opened by file, calls resolved by name.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <dlfcn.h>
#include <stdexcept>
#include <string>

namespace kt3::tests {

class LoadedLibrary {
public:
    LoadedLibrary() : handle_(::dlopen(KT3_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) {
            throw std::runtime_error(::dlerror());
        }
    }
    ~LoadedLibrary() { unload(); }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    void unload() {
        if (handle_ != nullptr) {
            ::dlclose(handle_);
            handle_ = nullptr;
        }
    }

    // The function or object of that name; `Symbol` is its type, as the public header declares it.
    template<typename Symbol>
    Symbol* get(const char* name) const {
        void* found = ::dlsym(handle_, name);
        if (found == nullptr) {
            throw std::runtime_error(std::string("not exported: ") + name);
        }
        return reinterpret_cast<Symbol*>(found);
    }

private:
    void* handle_;
};

} // namespace kt3::tests

// The exported function or object of that name, with the type the public header gives it.
#define KT3_EXPORTED(library, name) ((library).get<decltype(name)>(#name))
