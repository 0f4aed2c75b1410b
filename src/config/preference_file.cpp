// SPDX-License-Identifier: MIT
#include "config/preference_file.hpp"

#include "config/config_state.hpp"
#include "config/entry_text.hpp"
#include "config/ini_reading.hpp"
#include "interface/logging.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/whole_file.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace kt3::config {
namespace {

constinit ConfigState state;

using Entry = _UTIL_GPU_PREFERENCE_NODE;
using support::ReadResult;
using support::SaveResult;

constexpr const char* kLoadTag = "Load from config:";
constexpr const char* kSaveTag = "Save to config:";
constexpr char kBelowHome[] = "/.local/share/tqm_gfx_util.ini";

// A print callback may call in again and change the list, so all lines are put together before the first is logged.
std::string lines_if_logged(const char* tag, std::span<const Entry> entries) {
    return interface::is_logging() ? log_lines(tag, entries) : std::string();
}

void log_each(const std::string& lines) {
    const char* const end = lines.data() + lines.size();
    for (const char* line = lines.data(); line != end; line += std::strlen(line) + 1) {
        interface::log("%s", line);
    }
}

void append(std::vector<Entry>& list, std::vector<Entry>&& more) {
    if (list.empty()) {
        list = std::move(more);
    } else {
        list.insert(list.end(), more.begin(), more.end());
    }
}

bool is_user_file(const char* path) {
    return std::strcmp(path, UTIL_CONFIG_PATH) == 0;
}

const char* shown(const char* path) {
    return path == nullptr ? "(null)" : path;
}

void log_not_opened(const char* path) {
    interface::log("savefile_INI: can't open %s \n", shown(path));
}

} // namespace

ConfigState& config_state() {
    return state;
}

void build_config_path() {
    const char* home = std::getenv("HOME");
    UTIL_CONFIG_PATH[0] = '\0';
    if (home != nullptr && std::strlen(home) + sizeof kBelowHome <= sizeof UTIL_CONFIG_PATH) {
        std::snprintf(UTIL_CONFIG_PATH, sizeof UTIL_CONFIG_PATH, "%s%s", home, kBelowHome);
    } else {
        interface::log("HOME is %s: preferences have no file.\n", home == nullptr ? "not set" : "too long");
    }
}

std::int32_t load_file(const char* path) {
    const auto file = path == nullptr ? support::WholeText{} : support::read_whole(path);
    if (path != nullptr && is_user_file(path)) {
        state.unread = file.result == ReadResult::unreadable;
    }
    if (file.result != ReadResult::whole) {
        interface::log("parseINI fail to open %s\n", shown(path));
        return -1;
    }
    std::vector<Entry> read = parse_ini(file.text);
    const auto sections = static_cast<std::int32_t>(read.size());
    const std::string lines = lines_if_logged(kLoadTag, read);
    append(interface_config_list, std::move(read));
    interface::log("parseINI %s\n", path);
    log_each(lines);
    return sections;
}

void save_file(const char* path) {
    const SaveResult result =
        path == nullptr ? SaveResult::not_opened : support::replace_file(path, ini_text(interface_config_list));
    if (result == SaveResult::not_opened) {
        log_not_opened(path);
        return;
    }
    const std::string lines = lines_if_logged(kSaveTag, interface_config_list);
    interface::log("-------------------------\n");
    log_each(lines);
    interface::log("\n");
    if (result == SaveResult::not_written) {
        log_not_opened(path);
    }
}

void save_user_file() {
    if (state.unread) {
        log_not_opened(UTIL_CONFIG_PATH);
    } else {
        save_file(UTIL_CONFIG_PATH);
    }
}

void log_entry(const char* tag, const Entry& entry) {
    log_each(lines_if_logged(tag, {&entry, 1}));
}

} // namespace kt3::config
