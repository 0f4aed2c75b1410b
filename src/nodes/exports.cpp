// SPDX-License-Identifier: MIT
// The node accessors, the power-management registers and the two text helpers under their exported names.

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "nodes/accessors.hpp"
#include "nodes/dvfs_commands.hpp"
#include "nodes/dvfs_registers.hpp"
#include "support/text_scan.hpp"

#include <algorithm>
#include <cstring>

using namespace kt3;

int32_t dvfs_register_state_data_flushed = 1;

extern "C" {

KT3_EXPORT int32_t gpuinfo_get_wyinfoFD_value_int(int32_t node_index) {
    return nodes::driver_node_int(node_index);
}

KT3_EXPORT int32_t gpuinfo_get_hwmonFD_value_int(int32_t hwmon_index, uint32_t* bytes_read) {
    const auto reading = nodes::read_hwmon_int(hwmon_index);
    if (bytes_read != nullptr) {
        *bytes_read = reading.bytes;
    }
    return reading.value;
}

KT3_EXPORT uint32_t gpuinfo_get_temparature_value_int(uint32_t* status) {
    const auto reading = nodes::read_temperature();
    if (status != nullptr) {
        *status = reading.numbers;
    }
    return reading.degrees;
}

KT3_EXPORT uint32_t gpuinfo_set_enable_usage(const char* text) {
    return nodes::set_usage_accounting(text);
}

KT3_EXPORT uint32_t gpuinfo_get_fps_count(uint32_t* frame_count, int64_t* timestamp_ns, int64_t* blit_scan_count) {
    return nodes::read_frame_counters({frame_count, timestamp_ns, blit_scan_count});
}

KT3_EXPORT void gpuinfo_set_misc_ctl_flag(int32_t bits_to_set, int32_t bits_to_clear) {
    nodes::update_misc_ctl_flag(static_cast<uint32_t>(bits_to_set), static_cast<uint32_t>(bits_to_clear));
}

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

KT3_EXPORT int32_t find_str_in_buffer(const char* buffer, int32_t length, const char* key) {
    return buffer == nullptr || key == nullptr ? -1 : support::find_after(buffer, length, key);
}

KT3_EXPORT uint32_t safe_str_copy_till_return(char* destination, const char* source, uint64_t capacity) {
    if (destination == nullptr || source == nullptr || capacity == 0) {
        return 0;
    }
    const size_t length = std::min<uint64_t>(capacity - 1, std::strcspn(source, "\n"));
    std::memcpy(destination, source, length);
    destination[length] = '\0';
    return static_cast<uint32_t>(length + 1);
}

} // extern "C"
