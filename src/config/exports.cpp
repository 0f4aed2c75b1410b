// SPDX-License-Identifier: MIT
// What the preference folder exports under fixed names.

#include "config/preference_file.hpp"
#include "config/preference_operations.hpp"
#include "interface/lifetime.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/text_edges.hpp"

#include <cstring>

using namespace kt3;
using interface::containers_alive;

constinit std::vector<_UTIL_GPU_PREFERENCE_NODE> interface_config_list;
static constinit interface::ContainerWatch list_watch;
constinit char UTIL_CONFIG_PATH[512] = {};

KT3_EXPORT void trimWhitespace(char* text) {
    if (text != nullptr) {
        const std::string_view kept = support::trimmed(text);
        std::memmove(text, kept.data(), kept.size());
        text[kept.size()] = '\0';
    }
}

KT3_EXPORT int32_t parseINI(const char* path) {
    return containers_alive() ? config::load_file(path) : -1;
}

KT3_EXPORT void savefile_INI(const char* path) {
    if (containers_alive()) {
        config::save_file(path);
    }
}

KT3_EXPORT int32_t util_init_config_files() {
    if (containers_alive()) {
        config::build_config_path();
        parseINI(UTIL_CONFIG_PATH);
    }
    return 0;
}

KT3_EXPORT void printConfigNodeLog(const char* tag, _UTIL_GPU_PREFERENCE_NODE* entry) {
    if (tag != nullptr && entry != nullptr) {
        config::log_entry(tag, *entry);
    }
}

KT3_EXPORT std::string get_filename(std::string path) {
    return std::string(config::file_name(path));
}

extern "C" {

KT3_EXPORT int32_t GetGPUPreference_config(_UTIL_GPU_PREFERENCE_NODE* entries, int32_t* count) {
    if (count != nullptr) {
        *count = containers_alive() ? config::get_preferences(entries, *count) : 0;
    }
    return 0;
}

KT3_EXPORT int32_t SetGPUPreference_config(const _UTIL_GPU_PREFERENCE_NODE* entry) {
    if (entry != nullptr && containers_alive()) {
        config::set_preference(*entry);
    }
    return 0;
}

KT3_EXPORT int32_t RemoveGPUPreference_config(const _UTIL_GPU_PREFERENCE_NODE* entry) {
    if (entry != nullptr && containers_alive()) {
        config::remove_preference(*entry);
    }
    return 0;
}

KT3_EXPORT int32_t initGPUPreference_config() {
    config::start_preferences();
    return 0;
}

KT3_EXPORT int32_t uninitGPUPreference_config() {
    config::end_preferences();
    return 0;
}

} // extern "C"
