// SPDX-License-Identifier: MIT
// capture_client MODULE LIBRARY: opens the module with global visibility in front of the library, as kernel-interface
// modules are opened, and reads a preference file, which takes the library through several of its exported functions.

#include "config/home_folder.hpp"

#include <cstdio>
#include <dlfcn.h>

int main(int count, char** arguments) {
    if (count != 3) {
        return 2;
    }
    kt3::tests::HomeFolder home;
    home.write("[ app ]\n  FullPath = /bin/app  \n");
    void* module = ::dlopen(arguments[1], RTLD_NOW | RTLD_GLOBAL);
    void* library = module == nullptr ? nullptr : ::dlopen(arguments[2], RTLD_NOW | RTLD_GLOBAL);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", ::dlerror());
        return 2;
    }
    const auto get = reinterpret_cast<decltype(&get_gpu_preference)>(::dlsym(library, "get_gpu_preference"));
    const auto* captured = static_cast<std::int32_t*>(::dlsym(module, "kt3_captured_calls"));
    _UTIL_GPU_PREFERENCE_NODE entry{};
    std::int32_t copied = 1;
    get(&entry, &copied);
    std::fprintf(stderr, "%d calls captured, %d entries read, path \"%s\"\n", *captured, copied, entry.FullPath);
    return *captured == 0 && copied == 1 && std::strcmp(entry.FullPath, "/bin/app") == 0 ? 0 : 1;
}
