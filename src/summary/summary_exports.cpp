// The adapter summary under its exported names.

#include "adapter/current_adapter.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "summary/adapter_summary.hpp"
#include "summary/extended_summary.hpp"
#include "summary/shell_commands.hpp"

using namespace kt3;

const kt3_connector_type support_CONNECT_type_list[KT3_CONNECTOR_TYPES] = {
    {"VGA", 1}, {"DVI", 2}, {"HDMI", 4}, {"DP", 8}, {"EDP", 16},
};

namespace {

bool names_adapter(const find_adapter* adapters) {
    return adapters != nullptr && adapter::is_slot(adapters->current_index);
}

summary::SummaryAdapter named_adapter(const find_adapter& adapters) {
    return {adapters.chip_id[adapters.current_index], adapters.drm_card_idx[adapters.current_index]};
}

} // namespace

extern "C" {

KT3_EXPORT int32_t gpu_info_get_adapter_summary(_GPU_ADAPTER_SUMMARY* record, const find_adapter* adapters) {
    if (record != nullptr && names_adapter(adapters)) {
        summary::read_summary(*record, named_adapter(*adapters));
    }
    return 0;
}

KT3_EXPORT int32_t gpu_info_get_adapter_summary_ext2(_GPU_ADAPTER_SUMMARY_EXT2* record, const find_adapter* adapters) {
    if (record != nullptr && names_adapter(adapters)) {
        summary::clear_extended_summary(*record);
        summary::read_extended_summary(*record, named_adapter(*adapters));
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

} // extern "C"
