// SPDX-License-Identifier: MIT
// The adapter summaries, their shell commands and the segment readers under their exported names.

#include "adapter/binding_state.hpp"
#include "adapter/current_adapter.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "summary/adapter_summary.hpp"
#include "summary/extended_summary.hpp"
#include "summary/segments.hpp"
#include "summary/shell_commands.hpp"

#include <optional>

using namespace kt3;

const kt3_connector_type support_CONNECT_type_list[KT3_CONNECTOR_TYPES] = {
    {"VGA", 1}, {"DVI", 2}, {"HDMI", 4}, {"DP", 8}, {"EDP", 16},
};

namespace {

// The adapter in the record's current slot; nothing without a record or when its index names no slot.
std::optional<summary::SummaryAdapter> adapter_of(const find_adapter* record) {
    if (record == nullptr || !adapter::is_slot(record->current_index)) {
        return std::nullopt;
    }
    return summary::SummaryAdapter{record->chip_id[record->current_index], record->drm_card_idx[record->current_index]};
}

} // namespace

extern "C" {

KT3_EXPORT int32_t gpu_info_get_adapter_summary(_GPU_ADAPTER_SUMMARY* record, const find_adapter* adapters) {
    const auto adapter = adapter_of(adapters);
    if (record != nullptr && adapter) {
        summary::read_summary(*record, *adapter);
    }
    return 0;
}

KT3_EXPORT int32_t gpu_info_get_adapter_summary_ext2(_GPU_ADAPTER_SUMMARY_EXT2* record, const find_adapter* adapters) {
    const auto adapter = adapter_of(adapters);
    if (record != nullptr && adapter) {
        summary::clear_extended_summary(*record);
        summary::read_extended_summary(*record, *adapter);
    }
    return 0;
}

KT3_EXPORT uint32_t runShellCommand(const char* command, char* buffer, uint32_t size) {
    return summary::run_shell_command(command, buffer, size);
}

KT3_EXPORT uint32_t runShellCommand_getMemoryTYpe() {
    return summary::read_memory_generation();
}

KT3_EXPORT uint32_t runShellCommand_getBitWidth() {
    return summary::read_bus_width();
}

KT3_EXPORT int32_t gpuinfo_get_segment_info(_GFX_SEGMENT_INFO* segments) {
    return segments != nullptr && summary::read_segment_node(*segments) ? 1 : -1;
}

KT3_EXPORT int32_t gpuinfo_get_kmd_segment_info(_GFX_SEGMENT_INFO* segments, int32_t) {
    return segments != nullptr && summary::read_heap_pages(adapter::debugfs_directory(), *segments) ? 1 : -1;
}

} // extern "C"
