// SPDX-License-Identifier: MIT
#pragma once
// The user's preference file: where it is, reading it into interface_config_list, writing that list back.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>

namespace kt3::config {

// Sets UTIL_CONFIG_PATH from HOME. Without HOME, or with one that is too long for the file's name to follow, the path
// is empty, the log says why, and the file counts as absent: a cut path could name somebody else's file.
void build_config_path();

// Appends the entries of the file to the list. The number of its sections, or -1 when it cannot be opened or read
// whole.
std::int32_t load_file(const char* path);

// Makes the whole list the content of the file.
void save_file(const char* path);

// The same for the user's file, which is left alone when it could not be read.
void save_user_file();

void log_entry(const char* tag, const _UTIL_GPU_PREFERENCE_NODE& entry);

} // namespace kt3::config
