// The client entry points: each reads its arguments, calls one internal function and maps the result.

#include "adapter/binding.hpp"
#include "adapter/enumeration.hpp"
#include "interface/version.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"

using namespace kt3;

extern "C" {

// ---- frame ----------------------------------------------------------------------------------------------------------

KT3_EXPORT int32_t get_interface_version() {
    return KT3_INTERFACE_VERSION;
}

KT3_EXPORT int32_t get_interface_version_ext1(_GFX_INTERFACE_VERSION* record) {
    if (record == nullptr) {
        return 0;
    }
    const auto verdict = interface::judge_client_version(static_cast<uint32_t>(record->client_version));
    record->server_version = KT3_INTERFACE_VERSION;
    record->match_result = verdict.code;
    lib_print_func("%s", verdict.log_line);
    return 0;
}

KT3_EXPORT int32_t get_driver_info() {
    return 0;
}

KT3_EXPORT int32_t selfcheck_current_tool_status(int32_t* status) {
    if (status != nullptr) {
        *status = 0;
    }
    return 0;
}

// ---- adapters -------------------------------------------------------------------------------------------------------

KT3_EXPORT int32_t gfx_find_adapter(find_adapter* record) {
    if (record != nullptr) {
        adapter::find_adapters(*record);
    }
    return 0;
}

KT3_EXPORT int32_t gfx_find_adapter_ext1(find_adapter_ext1* record) {
    if (record != nullptr) {
        *record = find_adapter_ext1_cache;
    }
    return 0;
}

KT3_EXPORT int32_t gfx_global_init(find_adapter* record) {
    return record == nullptr ? -1 : adapter::bind_adapter(*record);
}

KT3_EXPORT int32_t gfx_global_exit(int32_t chip_id_idx) {
    adapter::unbind_adapter(chip_id_idx);
    return 0;
}

// ---- preferences ----------------------------------------------------------------------------------------------------

KT3_EXPORT int32_t get_gpu_preference(_UTIL_GPU_PREFERENCE_NODE* entries, int32_t* count) {
    GetGPUPreference_config(entries, count);
    return 0;
}

KT3_EXPORT int32_t set_gpu_preference(const _UTIL_GPU_PREFERENCE_NODE* entry) {
    SetGPUPreference_config(entry);
    return 0;
}

KT3_EXPORT int32_t remove_gpu_preference(const _UTIL_GPU_PREFERENCE_NODE* entry) {
    RemoveGPUPreference_config(entry);
    return 0;
}

} // extern "C"
