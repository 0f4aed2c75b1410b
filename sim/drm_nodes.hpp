// SPDX-License-Identifier: MIT
#pragma once
// The DRM device nodes of the simulated machine. They are plain files; the shim makes them look like the character
// devices they stand for.

#include <optional>

namespace kt3::sim {

inline constexpr unsigned kDrmMajor = 226;

// The minor number of a DRM node, from its simulated path: /dev/dri/card1 has 1, /dev/dri/renderD129 has 129.
std::optional<unsigned> drm_minor(const char* simulated_path);

} // namespace kt3::sim
