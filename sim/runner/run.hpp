#pragma once
// Running a command on a simulated machine.

#include "scenes/scenes.hpp"

#include <string>
#include <vector>

namespace kt3::sim {

// Builds the scene in a temporary folder, runs the command on it, and removes the folder again, also when a signal
// ends the run. Returns the exit status for the shell.
int run_scene(const Scene& scene, const std::vector<std::string>& command);

} // namespace kt3::sim
