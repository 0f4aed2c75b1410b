// SPDX-License-Identifier: MIT
#pragma once
// libdrm, resolved by name at run time: a machine without it still loads this library.

#include <xf86drm.h>

namespace kt3::adapter {

struct DrmLibrary {
    void* handle = nullptr; // set by load_drm_library; a later load replaces it without closing it
    decltype(&drmGetVersion) get_version = nullptr;
    decltype(&drmGetDevices2) get_devices2 = nullptr;
    decltype(&drmGetDevices) get_devices = nullptr; // resolved only when get_devices2 is missing
    decltype(&drmFreeDevices) free_devices = nullptr;
    decltype(&drmFreeVersion) free_version = nullptr; // may stay null
};

// The loaded library; its handle is null until load_drm_library succeeds, and again when it fails.
const DrmLibrary& drm_library();

// Opens libdrm and resolves its entry points; false when it or a required entry point is missing.
bool load_drm_library();

} // namespace kt3::adapter
