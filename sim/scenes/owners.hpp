// SPDX-License-Identifier: MIT
#pragma once
// Machines on which it matters whose memory it is.

#include "machine.hpp"

namespace kt3::sim {

// Memory of processes in containers of every usual kind, in jobs and in units.
void build_containers(Machine& machine);
// Memory that nobody uses any more: of a process that ended, a zombie, a stopped one, one that hangs in the kernel.
void build_orphans(Machine& machine);

} // namespace kt3::sim
