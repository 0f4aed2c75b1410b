// SPDX-License-Identifier: MIT
#pragma once
// Adapters and machines with everything that their drivers and their firmware publish.

#include "machine.hpp"

namespace kt3::sim {

// Complete adapters at rest. Scenes change single nodes of them afterwards.
Adapter add_newer(Machine& machine, std::string_view bdf, AdapterOptions options = {});
Adapter add_older(Machine& machine, std::string_view bdf, AdapterOptions options = {});

// What every machine has besides its adapters: memory modules as dmidecode prints them, mounted kernel file systems.
void add_mainboard(const Machine& machine);

} // namespace kt3::sim
