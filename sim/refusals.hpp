// SPDX-License-Identifier: MIT
#pragma once
// Files that the machine does not let its user touch. Mode bits would not do: they do not stop root, and they would
// keep an ordinary user from clearing the machine away.

#include <string>
#include <string_view>

namespace kt3::sim {

// What is asked of a file. Beneath a refused folder nothing is allowed; the refused file itself still has a status.
enum class Touch { status, content };

// Adds a simulated path to <machine>/.kt3sim/refused.
void refuse(const std::string& root, const std::string& simulated_path);

// Whether any path is refused at all. Costs no system call.
bool refuses_anything(std::string_view root);

bool is_refused(const std::string& root, const char* simulated_path, Touch touch);

} // namespace kt3::sim
