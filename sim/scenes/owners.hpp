// SPDX-License-Identifier: MIT
#pragma once
// Machines on which it matters whose memory it is.

#include "machine.hpp"

namespace kt3::sim {

// Memory of processes in containers of every usual kind, in jobs and in units.
void build_containers(Machine& machine);
// Memory that nobody uses any more: of a process that ended, one whose pid belongs to a later process, a zombie, a
// stopped one, one that hangs in the kernel.
void build_orphans(Machine& machine);
// The same, looked at from a container with pids of its own.
void build_in_container(Machine& machine);

} // namespace kt3::sim
