// SPDX-License-Identifier: MIT
#include "config/preference_operations.hpp"

#include "config/config_state.hpp"
#include "config/preference_file.hpp"
#include "interface/lifetime.hpp"
#include "interface/logging.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/bounded_copy.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace kt3::config {
namespace {

using Entry = _UTIL_GPU_PREFERENCE_NODE;

// Bytes after the last field are padding that clients do not fill.
constexpr std::size_t kFieldBytes = offsetof(Entry, reserved) + sizeof Entry::reserved;

void load_on_first_use() {
    if (!config_state().loaded) {
        config_state().loaded = true; // first, because a print callback may ask for preferences while they are loaded
        util_init_config_files();
    }
}

// The stored entry of the application that `wanted` names by its full path.
std::vector<Entry>::iterator find_application(const Entry& wanted) {
    const std::string_view key = file_name(support::bounded_text(wanted.FullPath));
    return std::find_if(interface_config_list.begin(), interface_config_list.end(),
                        [key](const Entry& stored) { return support::bounded_text(stored.name) == key; });
}

void release_preferences(const char* log_line) {
    if (interface::containers_alive()) {
        std::vector<Entry>().swap(interface_config_list);
        interface::log("%s", log_line);
    }
}

} // namespace

std::string_view file_name(std::string_view path) {
    return path.substr(path.find_last_of("/\\") + 1); // npos + 1 is 0
}

std::int32_t get_preferences(Entry* entries, std::int32_t asked) {
    load_on_first_use();
    const auto available = static_cast<std::int32_t>(interface_config_list.size());
    if (entries == nullptr || available == 0) {
        return available;
    }
    // One entry is copied even for a count of 0 or less; clients rely on it.
    const std::int32_t copied = std::min(std::max(asked, 1), available);
    std::copy_n(interface_config_list.begin(), copied, entries);
    return copied;
}

void set_preference(const Entry& entry) {
    load_on_first_use();
    const auto stored = find_application(entry);
    if (stored == interface_config_list.end()) {
        interface_config_list.push_back(entry);
    } else if (std::memcmp(&*stored, &entry, kFieldBytes) == 0) {
        interface::log("SetGPUPreference_config, same data, skip save log file.\n");
        return;
    } else {
        *stored = entry;
    }
    save_user_file();
}

// Does not load the file: called before any get or set, it leaves a file that holds no entry. Clients rely on it.
void remove_preference(const Entry& entry) {
    const auto stored = find_application(entry);
    if (stored != interface_config_list.end()) {
        interface_config_list.erase(stored);
    }
    if (UTIL_CONFIG_PATH[0] == '\0') {
        build_config_path();
    }
    save_user_file();
}

void start_preferences() {
    release_preferences("initGPUPreference_config.\n ");
}

void end_preferences() {
    release_preferences("uninitGPUPreference_config.\n ");
}

} // namespace kt3::config
