// SPDX-License-Identifier: MIT
#include "adapter/current_adapter.hpp"

#include "interface/logging.hpp"

#include <cstdio>

namespace kt3::adapter {

bool is_slot(std::int32_t index) {
    return index >= 0 && index < MAX_CHIP_NUM;
}

const gpu_infos* current_adapter() {
    return pCurrent_gpu_infos;
}

const char* current_pci_directory() {
    return sys_bus_pci_devices_BUSID_path;
}

void select_adapter(find_adapter& record) {
    if (!is_slot(record.current_index)) {
        return;
    }
    pCurrent_gpu_infos = &record.gpu_infos[record.current_index];
    std::snprintf(sys_bus_pci_devices_BUSID_path, sizeof sys_bus_pci_devices_BUSID_path, "/sys/bus/pci/devices/%.20s",
                  pCurrent_gpu_infos->bus_id);
    interface::log("gpuinfo_select_new_chip index: %d, name: %.20s \n", record.current_index,
                   record.name[record.current_index]);
}

} // namespace kt3::adapter
