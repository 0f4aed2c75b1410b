#pragma once
// kt3 alloc diff, and the form of an allocation in the files that it compares.

#include "kt3/command_table.hpp"
#include "observe/memory/allocations.hpp"

namespace kt3::cli {

// An allocation as `kt3 alloc list --json` prints it.
[[nodiscard]] Json allocation_object(int slot, const _GFX_ALLOCATION_INFO& allocation, const Owner& owner);

void add_alloc_diff(CLI::App& alloc, Options& options, Chosen& chosen);

} // namespace kt3::cli
