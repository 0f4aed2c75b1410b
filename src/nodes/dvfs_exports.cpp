// The power-management register record under its exported names.

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "nodes/dvfs_commands.hpp"
#include "nodes/dvfs_registers.hpp"

using namespace kt3;

int32_t dvfs_register_state_data_flushed = 1;

extern "C" {

KT3_EXPORT int32_t gpuinfo_get_data_from_dvfs_register(_GPU_DVFS_REGISTER_DATA* record) {
    if (record != nullptr) {
        nodes::read_dvfs_registers(*record);
    }
    return 0;
}

KT3_EXPORT int32_t gpuinfo_set_data_to_dvfs_register(const _GPU_DVFS_REGISTER_DATA* record) {
    if (record != nullptr) {
        nodes::write_dvfs_changes(*record, nodes::dvfs_state().last_read);
    }
    return 0;
}

} // extern "C"
