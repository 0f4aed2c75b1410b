// SPDX-License-Identifier: MIT
#pragma once
// Machines in trouble: drivers that hang, adapters that fall off the bus or sleep.

#include "machine.hpp"

namespace kt3::sim {

// One clock node never answers.
void build_hung_node(Machine& machine);
// The page of one allocation never answers.
void build_hung_debugfs(Machine& machine);
// All nodes and debugfs files are gone after the first few readings, as when an adapter falls off the bus.
void build_lost_adapter(Machine& machine);
// Three adapters at work.
void build_three_gpus(Machine& machine);
// Four adapters, one more than clients can manage.
void build_four_gpus(Machine& machine);
// One adapter at work and one that sleeps.
void build_suspended(Machine& machine);

} // namespace kt3::sim
