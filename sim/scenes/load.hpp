// SPDX-License-Identifier: MIT
#pragma once
// Machines at work: their clocks, temperature, usages and counters move with time.

#include "machine.hpp"

namespace kt3::sim {

void build_game(Machine& machine);
void build_video(Machine& machine);
void build_throttled(Machine& machine);
void build_extended_interface(Machine& machine);

// Usage of the 3D engine between two bounds, in percent, and frames per second.
void put_to_work(Adapter& adapter, std::int64_t lowest_percent, std::int64_t highest_percent, std::int64_t frames);

} // namespace kt3::sim
