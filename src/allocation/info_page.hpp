// SPDX-License-Identifier: MIT
#pragma once
// The page that describes one allocation.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <string_view>

namespace kt3::allocation {

// The record that the page describes. A key the page lacks leaves its field 0, unknown keys are ignored, of a key that
// occurs twice the last value stays. Decimal values take what digits there are. Throws std::invalid_argument or
// std::out_of_range, with the text "stoi", for a malformed "handle" or "device"; drivers with virtual addressing
// (`va_driver`) write "device" in decimal, the others in hexadecimal.
_GFX_ALLOCATION_INFO parse_info_page(std::string_view page, bool va_driver);

} // namespace kt3::allocation
