#pragma once
// Machines at work: their clocks, temperature, usages and counters move with time.

#include "machine.hpp"

namespace kt3::sim {

void build_game(Machine& machine);
void build_video(Machine& machine);
void build_throttled(Machine& machine);
void build_extended_interface(Machine& machine);

} // namespace kt3::sim
