// SPDX-License-Identifier: MIT
#pragma once
// Whole machines by name, for trying things out, for tests, demonstrations and benchmarks.

#include "machine.hpp"

#include <span>
#include <string_view>

namespace kt3::sim {

struct Scene {
    std::string_view name;
    std::string_view description; // one line
    void (*build)(Machine&);
};

std::span<const Scene> scenes();

// Null when there is no scene of this name.
const Scene* find_scene(std::string_view name);

// Writes the scene's machine out, with the mainboard that all of them share.
void build_scene(const Scene& scene, Machine& machine);

} // namespace kt3::sim
