// SPDX-License-Identifier: MIT
#pragma once
// Puts a kernel-interface module where a later dlopen of its bare file name finds it: the loader knows an already
// loaded object by its name.

#include <dlfcn.h>
#include <stdexcept>
#include <string>

namespace kt3::tests {

class OfferedModule {
public:
    explicit OfferedModule(const std::string& path)
        : name_(path.substr(path.rfind('/') + 1)), handle_(::dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL)) {
        if (handle_ == nullptr) {
            throw std::runtime_error(::dlerror());
        }
    }
    ~OfferedModule() { withdraw(); }
    OfferedModule(const OfferedModule&) = delete;
    OfferedModule& operator=(const OfferedModule&) = delete;

    void withdraw() {
        if (handle_ != nullptr) {
            ::dlclose(handle_);
            handle_ = nullptr;
        }
    }
    template<typename Object>
    [[nodiscard]] Object& object(const char* name) const {
        return *static_cast<Object*>(::dlsym(handle_, name));
    }
    // Whether anybody holds the module, this object included.
    [[nodiscard]] bool is_loaded() const {
        void* held = ::dlopen(name_.c_str(), RTLD_LAZY | RTLD_NOLOAD);
        if (held != nullptr) {
            ::dlclose(held);
        }
        return held != nullptr;
    }

private:
    std::string name_;
    void* handle_;
};

} // namespace kt3::tests
