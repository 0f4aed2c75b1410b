// SPDX-License-Identifier: MIT
#pragma once
// Get, set and remove on the list of preferences; every change goes straight back to the file.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>
#include <string_view>

namespace kt3::config {

// The part after the last "/" or "\", or the whole path when it has neither.
std::string_view file_name(std::string_view path);

// Copies as many entries as asked for and returns their number; without an array, the number of stored entries.
std::int32_t get_preferences(_UTIL_GPU_PREFERENCE_NODE* entries, std::int32_t asked);
void set_preference(const _UTIL_GPU_PREFERENCE_NODE& entry);
void remove_preference(const _UTIL_GPU_PREFERENCE_NODE& entry);

// When an adapter is bound, and when it is released: clear the list, give its storage back and log that. Neither the
// file nor the loaded flag changes, so the list stays empty until something is set. Nothing happens once the list is
// destroyed.
void start_preferences();
void end_preferences();

} // namespace kt3::config
