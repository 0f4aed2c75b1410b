// SPDX-License-Identifier: MIT
#pragma once
// Running a command on a simulated machine.

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace kt3::sim {

// Builds a machine in a temporary folder, runs the command on it, and removes the folder again, also when a signal ends
// the run. Returns the exit status for the shell.
int run_machine(const std::function<void(const std::filesystem::path& folder)>& build,
                const std::vector<std::string>& command);

} // namespace kt3::sim
