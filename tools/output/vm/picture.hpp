// SPDX-License-Identifier: MIT
#pragma once
// GPU address spaces as a picture.

#include "output/vm/map.hpp"

namespace kt3::output {

// An SVG document: a strip for each region, used ranges in blue, overlaps in red, with tooltips.
[[nodiscard]] std::string svg_picture(const std::vector<AddressSpace>& spaces);

} // namespace kt3::output
