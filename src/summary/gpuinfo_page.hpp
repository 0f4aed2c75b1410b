// SPDX-License-Identifier: MIT
#pragma once
// /proc/gpuinfo_N, the driver's text page about one card.

#include "support/text_page.hpp"

#include <cstdint>
#include <cstdio>

namespace kt3::summary {

using GpuinfoPage = support::TextPage<1024>;

inline GpuinfoPage read_gpuinfo_page(std::int32_t card) {
    char path[32];
    std::snprintf(path, sizeof path, "/proc/gpuinfo_%d", card);
    return support::read_text_page<1024>(AT_FDCWD, path);
}

} // namespace kt3::summary
