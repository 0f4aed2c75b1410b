// SPDX-License-Identifier: MIT
#pragma once
// Machines whose adapters hold memory: processes with open devices, allocations, and the segments they lie in.

#include "machine.hpp"

namespace kt3::sim {

// A dozen processes with a few hundred allocations: one holds more than 4 GiB, one has control characters in its name,
// one is gone, one device has no process at all.
void build_busy(Machine& machine);
// One process gains three allocations of one shape with each listing; those of the others come and go.
void build_leak(Machine& machine);
// A process that leaks from the sixth listing to the twenty-fifth and not before or after.
void build_moving_leak(Machine& machine);
// Allocations and the adapter's used memory grow until it is full, within a minute.
void build_filling(Machine& machine);
// The older family: heap pages, one of them with more than 4 GiB, and allocations.
void build_old_family_heaps(Machine& machine);
// Seven segments in the "segment_info" node.
void build_segment_node(Machine& machine);
// Every other listing names allocations that are gone before they can be read.
void build_churn(Machine& machine);
// Ten thousand allocations.
void build_big(Machine& machine);

// Parts of larger machines. On an adapter of the newer family: an X server, a desktop, and a game that gains a texture
// with each listing. On one of the older family: a player.
void add_game_memory(Machine& machine, const Adapter& newer);
void add_player_memory(Machine& machine, const Adapter& older);

} // namespace kt3::sim
