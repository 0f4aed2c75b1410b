// SPDX-License-Identifier: MIT
// The client entry points: each reads its arguments, calls one internal function and maps the result.

#include "adapter/binding.hpp"
#include "adapter/binding_state.hpp"
#include "adapter/enumeration.hpp"
#include "interface/logging.hpp"
#include "interface/version.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "nodes/accessors.hpp"
#include "nodes/dvfs_registers.hpp"
#include "nodes/node_table.hpp"
#include "sampling/bandwidth.hpp"
#include "sampling/busy.hpp"
#include "sampling/frame_rate.hpp"
#include "sampling/sampling_state.hpp"
#include "summary/segments.hpp"

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
    interface::log("%s", verdict.log_line);
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
    const int32_t chip_id = record == nullptr ? -1 : adapter::bind_adapter(*record);
    if (chip_id != -1) {
        sampling::resume_entry_points();
    }
    return chip_id;
}

KT3_EXPORT int32_t gfx_global_exit(int32_t chip_id_idx) {
    sampling::suspend_entry_points(); // they belong to the module that is closed now
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

// ---- sampling -------------------------------------------------------------------------------------------------------

KT3_EXPORT int32_t gfxbusy_init() {
    return sampling::resolve_busy() ? 0 : -1;
}

KT3_EXPORT int32_t get_gpubusy_info(_GFX_BUSY_INFO* record) {
    if (record != nullptr) {
        sampling::read_busy(*record);
    }
    return 0;
}

KT3_EXPORT int32_t fps_init() {
    sampling::start_frame_rates();
    return 0;
}

KT3_EXPORT int32_t get_fps_info(_GFX_FRAME_RATES* rates) {
    return rates != nullptr && sampling::read_frame_rates(*rates) ? 0 : -1;
}

KT3_EXPORT int32_t bandwidth_init() {
    return sampling::start_bandwidth() ? 0 : -1;
}

KT3_EXPORT int32_t get_bandwidth_info(_GFX_BANDWIDTH_INFO* record) {
    if (record != nullptr) {
        sampling::read_bandwidth(*record);
    }
    return 0;
}

// ---- power management -----------------------------------------------------------------------------------------------

KT3_EXPORT int32_t get_dvfs_info(uint32_t* clocks) {
    if (clocks != nullptr) {
        clocks[0] = static_cast<uint32_t>(nodes::driver_node_int(nodes::kEclk));
        clocks[1] = static_cast<uint32_t>(nodes::driver_node_int(nodes::kVclk));
        clocks[2] = static_cast<uint32_t>(nodes::driver_node_int(nodes::kMclk));
    }
    return 0;
}

KT3_EXPORT int32_t get_data_from_dvfs_register(_GPU_DVFS_REGISTER_DATA* record, uint32_t* flushed) {
    gpuinfo_get_data_from_dvfs_register(record);
    nodes::mark_dvfs_registers_read(true);
    if (flushed != nullptr) {
        *flushed = 1;
    }
    return 0;
}

KT3_EXPORT int32_t set_data_to_dvfs_register(const _GPU_DVFS_REGISTER_DATA* record) {
    gpuinfo_set_data_to_dvfs_register(record);
    nodes::mark_dvfs_registers_read(false);
    return 0;
}

// ---- summary --------------------------------------------------------------------------------------------------------

KT3_EXPORT int32_t get_adapter_summary(_GPU_ADAPTER_SUMMARY* record, const find_adapter* adapters) {
    gpu_info_get_adapter_summary(record, adapters);
    return 0;
}

KT3_EXPORT int32_t get_adapter_summary_ext2(_GPU_ADAPTER_SUMMARY_EXT2* record, const find_adapter* adapters) {
    gpu_info_get_adapter_summary_ext2(record, adapters);
    return 0;
}

// ---- allocation -----------------------------------------------------------------------------------------------------

KT3_EXPORT int32_t get_device_pid_maps(_GFX_DEVICE_PID_MAP* maps) {
    const auto& bound = adapter::binding_state();
    return get_device_pid_maps_internal(maps, bound.chip_id, bound.va_driver);
}

KT3_EXPORT int32_t get_device_allocation_summary(_GFX_DEVICE_ALLOCATION_SUMMARY* summary) {
    const auto& bound = adapter::binding_state();
    return get_device_allocation_summary_internal(summary, bound.chip_id, bound.va_driver);
}

KT3_EXPORT int32_t get_device_allocation_summary_ext1(_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1* summary) {
    const auto& bound = adapter::binding_state();
    return get_device_allocation_summary_internal_ext1(summary, bound.chip_id, bound.va_driver);
}

KT3_EXPORT int32_t get_allocation_raw_list(_GFX_ALLOCATION_RAW_LIST* raw_list, find_adapter* adapters) {
    return get_allocation_raw_list_internal(raw_list, adapters);
}

KT3_EXPORT int32_t get_memleak_info(_GFX_ALLOCATION_INFO* result) {
    const auto& bound = adapter::binding_state();
    get_memleak_information(result, bound.chip_id, bound.va_driver);
    return 0; // clients tell a failed snapshot only by an unchanged result
}

// ---- segments -------------------------------------------------------------------------------------------------------

KT3_EXPORT int32_t segment_init(find_adapter* record) {
    return summary::choose_segment_source(record) ? 1 : -1;
}

KT3_EXPORT int32_t get_segment_info(_GFX_SEGMENT_INFO* segments) {
    return segments == nullptr ? -1 : summary::read_segments(*segments);
}

// ---- virtual memory -------------------------------------------------------------------------------------------------

KT3_EXPORT int32_t get_pagetable_data(_PAGETABLE_DATA* rows, uint32_t* count) {
    get_pagetable_data_info(rows, count);
    return 0;
}

KT3_EXPORT int32_t get_allocation_data(_GFX_VM_ALLOCATION_DATA* entries, uint32_t* count) {
    get_allocation_data_info(entries, count);
    return 0;
}

} // extern "C"
