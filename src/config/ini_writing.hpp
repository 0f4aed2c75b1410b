#pragma once
// The text of the preference file. Touches no file.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <span>
#include <string>

namespace kt3::config {

std::string ini_text(std::span<const _UTIL_GPU_PREFERENCE_NODE> entries);

} // namespace kt3::config
