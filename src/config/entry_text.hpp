// SPDX-License-Identifier: MIT
#pragma once
// Entries as text: in the preference file and in the log. Touches no file.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <span>
#include <string>
#include <string_view>

namespace kt3::config {

std::string ini_text(std::span<const _UTIL_GPU_PREFERENCE_NODE> entries);

// One line for each entry, "TAG NAME: PATH, GPU NAME, LOCATION\n", with a zero byte at its end.
std::string log_lines(std::string_view tag, std::span<const _UTIL_GPU_PREFERENCE_NODE> entries);

} // namespace kt3::config
