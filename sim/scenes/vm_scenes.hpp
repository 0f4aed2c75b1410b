// SPDX-License-Identifier: MIT
#pragma once
// Machines whose driver publishes GPU page tables and allocation nodes.

#include "machine.hpp"

namespace kt3::sim {

void vm_small(Machine& machine);  // two clients, readable by eye
void vm_deep(Machine& machine);   // three levels, runs in odd orders, lines that find no table
void vm_big(Machine& machine);    // four clients, one with 20 000 level-2 entries and 300 000 sub-table lines
void vm_broken(Machine& machine); // bad numbers, missing keys, over-long fields and lines

// A part of larger machines: the dumps of vm_small. They always lie below /sys/kernel/debug/dri/0/qn, where the library
// reads them whichever adapter is the first.
void add_two_clients(const Machine& machine);

} // namespace kt3::sim
