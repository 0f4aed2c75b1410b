// SPDX-License-Identifier: MIT
#include "adapter/drm_library.hpp"

#include "support/owned.hpp"

namespace kt3::adapter {
namespace {

constinit DrmLibrary the_library;

support::Library open_first_of(const char* name, const char* second_name) {
    support::Library library(::dlopen(name, RTLD_LAZY));
    if (!library) {
        library.reset(::dlopen(second_name, RTLD_LAZY));
    }
    return library;
}

template<typename Entry>
void resolve(void* handle, const char* name, Entry& entry) {
    entry = reinterpret_cast<Entry>(::dlsym(handle, name));
}

} // namespace

const DrmLibrary& drm_library() {
    return the_library;
}

bool load_drm_library() {
    the_library = {};
    support::Library library = open_first_of("libdrm.so", "libdrm.so.2");
    if (!library) {
        return false;
    }
    DrmLibrary found;
    resolve(library.get(), "drmGetVersion", found.get_version);
    resolve(library.get(), "drmGetDevices2", found.get_devices2);
    if (found.get_devices2 == nullptr) {
        resolve(library.get(), "drmGetDevices", found.get_devices);
    }
    resolve(library.get(), "drmFreeDevices", found.free_devices);
    resolve(library.get(), "drmFreeVersion", found.free_version);
    const bool lists_devices = found.get_devices2 != nullptr || found.get_devices != nullptr;
    if (found.get_version == nullptr || !lists_devices || found.free_devices == nullptr) {
        return false;
    }
    found.handle = library.release(); // stays loaded for the life of the process
    the_library = found;
    return true;
}

} // namespace kt3::adapter
