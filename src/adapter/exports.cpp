// SPDX-License-Identifier: MIT
// Exported objects of enumeration and binding, and the enumeration routines under their exported names.

#include "adapter/current_adapter.hpp"
#include "adapter/drm_library.hpp"
#include "adapter/enumeration.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"

using namespace kt3;

find_adapter_ext1 find_adapter_ext1_cache = {};
char sys_bus_pci_devices_BUSID_path[60] = {};
gpu_infos* pCurrent_gpu_infos = nullptr;
int32_t gpuinfo_control_enable = 0;

char sys_kernel_debug_ID_dri_ADAPTER_path[50] = {};
void* pdev = nullptr;
int32_t __perf_event_fd = 0;

extern "C" {

KT3_EXPORT int32_t gpuinfo_vorla_init() {
    return adapter::load_drm_library() ? 1 : 0;
}

KT3_EXPORT int32_t gpuinfo_vorla_get_device_handles(find_adapter* record) {
    return record != nullptr && adapter::enumerate_adapters(*record) ? 1 : 0;
}

KT3_EXPORT int32_t gpuinfo_select_new_chip(find_adapter* record) {
    if (record != nullptr) {
        adapter::select_adapter(*record);
    }
    return 0;
}

} // extern "C"
