// SPDX-License-Identifier: MIT
#pragma once
// The bound adapter: what global initialisation chose, until the next one chooses again.

#include <cstdint>

namespace kt3::adapter {

struct BindingState {
    std::int32_t chip_id = 0;   // PCI device id of the bound slot; set by bind, not cleared by unbind
    std::int32_t va_driver = 0; // selects the number base of "device" lines in the allocation tree
    void* module = nullptr;     // kernel-interface module; owned from bind to unbind
};

const BindingState& binding_state();

// "/sys/kernel/debug/dri/N/wy" or ".../qn" of the bound adapter; empty before the first known chip was bound.
const char* debugfs_directory();

// First argument of every module call.
std::int32_t drm_descriptor();

// The opaque device object handed to module calls; null when none is bound.
void* device_object();

// Whether the module answers the size query, as resolved at bind.
bool module_sizes_device_object();

// An entry point of the bound module, or null when no module is loaded or it has none of that name.
void* module_entry(const char* name);

} // namespace kt3::adapter
