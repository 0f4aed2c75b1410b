#include "config/preference_file.hpp"

#include "config/ini_reading.hpp"
#include "config/ini_writing.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/file_reading.hpp"
#include "support/whole_file.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace kt3::config {
namespace {

constexpr const char* kLoadTag = "Load from config:";
constexpr const char* kSaveTag = "Save to config:";
constexpr char kBelowHome[] = "/.local/share/tqm_gfx_util.ini";

} // namespace

void build_config_path() {
    const char* home = std::getenv("HOME");
    UTIL_CONFIG_PATH[0] = '\0';
    if (home != nullptr && std::strlen(home) + sizeof kBelowHome <= sizeof UTIL_CONFIG_PATH) {
        std::snprintf(UTIL_CONFIG_PATH, sizeof UTIL_CONFIG_PATH, "%s%s", home, kBelowHome);
    }
}

std::int32_t load_file(const char* path) {
    const support::Fd file = path == nullptr ? support::Fd() : support::open_for_reading(AT_FDCWD, path);
    if (!file) {
        lib_print_func("parseINI fail to open %s\n", path == nullptr ? "(null)" : path);
        return -1;
    }
    lib_print_func("parseINI %s\n", path);
    const auto read = parse_ini(support::read_to_end(file.get()));
    interface_config_list.insert(interface_config_list.end(), read.begin(), read.end());
    for (const auto& entry : read) {
        log_entry(kLoadTag, entry);
    }
    return static_cast<std::int32_t>(read.size());
}

void save_file(const char* path) {
    if (path == nullptr || !support::replace_file(path, ini_text(interface_config_list))) {
        lib_print_func("savefile_INI: can't open %s \n", path == nullptr ? "(null)" : path);
        return;
    }
    lib_print_func("-------------------------\n");
    for (const auto& entry : interface_config_list) {
        log_entry(kSaveTag, entry);
    }
    lib_print_func("\n");
}

// Text fields may lack a terminator, hence the bounds.
void log_entry(const char* tag, const _UTIL_GPU_PREFERENCE_NODE& entry) {
    lib_print_func("%s %.64s: %.512s, %.16s, %04d:%02d:%02d.%d\n", tag, entry.name, entry.FullPath, entry.PreferGpuName,
                   entry.bus_domain, entry.bus_number, entry.device_number, entry.function_number);
}

} // namespace kt3::config
