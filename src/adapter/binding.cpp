// SPDX-License-Identifier: MIT
#include "adapter/binding.hpp"

#include "adapter/binding_state.hpp"
#include "adapter/chip_table.hpp"
#include "adapter/current_adapter.hpp"
#include "config/preference_operations.hpp"
#include "interface/logging.hpp"
#include "nodes/accessors.hpp"
#include "support/format_into.hpp"
#include "support/owned.hpp"

#include <cstdlib>

namespace kt3::adapter {
namespace {

using SizeQuery = std::uint32_t (*)(std::int32_t drm_descriptor);

struct Binding {
    BindingState state;
    SizeQuery device_object_size = nullptr; // the module's size query; null when it has none or is closed
};
constinit Binding binding;

support::Library open_module(const Chip& chip) {
    support::Library module(::dlopen(chip.module, RTLD_LAZY | RTLD_GLOBAL));
    if (!module && chip.second_module != nullptr) {
        module.reset(::dlopen(chip.second_module, RTLD_LAZY | RTLD_GLOBAL));
    }
    return module;
}

// Binding again without an exit in between keeps the older module loaded: entry points resolved from it stay callable.
void load_module(const Chip& chip, std::int32_t card) {
    binding.state.module = open_module(chip).release();
    support::format_into(sys_kernel_debug_ID_dri_ADAPTER_path, chip.debugfs_dir, card);
}

void free_device_object() {
    std::free(pdev);
    pdev = nullptr;
}

bool allocate_device_object() {
    free_device_object();
    const std::uint32_t size = binding.device_object_size(__perf_event_fd);
    if (size == 0) {
        interface::log("get_struct_size err\n ");
        return false;
    }
    pdev = std::malloc(size);
    if (pdev == nullptr) {
        interface::log("pdev alloc mem fail.\n ");
        return false;
    }
    return true;
}

void* first_module_entry(const char* name, const char* second_name) {
    void* entry = module_entry(name);
    return entry != nullptr ? entry : module_entry(second_name);
}

bool create_device_object() {
    if (binding.state.module == nullptr) {
        interface::log("open libkeinterface module fail. \n ");
        return false;
    }
    binding.device_object_size =
        reinterpret_cast<SizeQuery>(first_module_entry("gfx_get_struct_size", "qn_get_struct_size"));
    if (binding.device_object_size == nullptr) {
        interface::log("get pfn_gfx_get_struct_size fail. \n ");
        return false;
    }
    return allocate_device_object();
}

// A chip id of 0 means that no chip was found; its driver is left alone.
void switch_usage_accounting(const char* text) {
    if (binding.state.chip_id != 0) {
        nodes::set_usage_accounting(text);
    }
}

} // namespace

const BindingState& binding_state() {
    return binding.state;
}

const char* debugfs_directory() {
    return sys_kernel_debug_ID_dri_ADAPTER_path;
}

std::int32_t drm_descriptor() {
    return __perf_event_fd;
}

void* device_object() {
    return pdev;
}

bool module_sizes_device_object() {
    return binding.device_object_size != nullptr;
}

void* module_entry(const char* name) {
    return binding.state.module == nullptr ? nullptr : ::dlsym(binding.state.module, name);
}

std::int32_t bind_adapter(find_adapter& record) {
    const std::int32_t slot = record.current_index;
    if (!is_slot(slot)) {
        return -1;
    }
    binding.state.chip_id = record.chip_id[slot];
    binding.state.va_driver = record.IS_VA_driver[slot];
    __perf_event_fd = record.drm_fd[slot];
    select_adapter(record);
    config::start_preferences();
    const Chip* chip = find_chip_by_id(binding.state.chip_id);
    if (chip != nullptr) {
        load_module(*chip, record.drm_card_idx[slot]);
    } else {
        interface::log("invalidate chip id. \n ");
    }
    switch_usage_accounting("1");
    return create_device_object() ? binding.state.chip_id : -1;
}

void unbind_adapter(std::int32_t chip_index) {
    interface::log("gfx_global_exit enter, chip_id_idx: %d \n", chip_index);
    switch_usage_accounting("0");
    support::Library(binding.state.module).reset();
    binding.state.module = nullptr;
    binding.device_object_size = nullptr;
    free_device_object();
    config::end_preferences();
}

} // namespace kt3::adapter
