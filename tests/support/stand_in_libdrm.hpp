// SPDX-License-Identifier: MIT
#pragma once
// Puts a stand-in in front of libdrm for the life of the object:
//
//     StandInLibdrm drm("devices-only", "pci=0000:03:00.0,7a52:5c0e,0 second=3");
//
// The variants are "whole", "devices-only" (drmGetDevices but no drmGetDevices2), and "without-devices",
// "without-free-devices", "without-version", "without-free-version" for one missing entry point each. The words of
// the description stand in tests/sim/libdrm/stand_in.cpp. The stand-in lists devices only; their nodes and folders
// come from a FakeKernel.
//
// It works without another environment at process start: the loader takes an already loaded library of the same
// name for "libdrm.so", and the stand-ins carry exactly that name. It has to come before anything opens the real one
// under that name, so every case needs a process of its own, as ctest gives it.

#include "stand_in_paths.hpp"

#include <cstdlib>
#include <dlfcn.h>
#include <stdexcept>
#include <string>

namespace kt3::tests {

class StandInLibdrm {
public:
    explicit StandInLibdrm(const std::string& variant, const std::string& description = "")
        : handle_(::dlopen((KT3_STAND_IN_LIBDRM "/" + variant + "/libdrm.so").c_str(), RTLD_NOW)) {
        if (handle_ == nullptr) {
            throw std::runtime_error(::dlerror());
        }
        void* found = ::dlopen("libdrm.so", RTLD_LAZY);
        if (found != handle_) {
            throw std::runtime_error("the real libdrm was opened before; run this case in a process of its own");
        }
        ::dlclose(found);
        describe(description);
    }
    ~StandInLibdrm() {
        ::unsetenv("KT3_STANDIN_DRM");
        ::dlclose(handle_);
    }
    StandInLibdrm(const StandInLibdrm&) = delete;
    StandInLibdrm& operator=(const StandInLibdrm&) = delete;

    void describe(const std::string& description) { ::setenv("KT3_STANDIN_DRM", description.c_str(), 1); }

    // Devices and versions handed out and not given back yet.
    [[nodiscard]] int devices_held() const { return ask("kt3_standin_devices_held"); }
    [[nodiscard]] int versions_held() const { return ask("kt3_standin_versions_held"); }

private:
    int ask(const char* name) const { return reinterpret_cast<int (*)()>(::dlsym(handle_, name))(); }

    void* handle_;
};

} // namespace kt3::tests
