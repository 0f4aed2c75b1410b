// SPDX-License-Identifier: MIT
#pragma once
// The parts of the simulator that a run needs, and the environment that makes a program use them.

#include <filesystem>

namespace kt3::sim {

struct Installation {
    std::filesystem::path shim;    // libkt3sim.so
    std::filesystem::path modules; // folder of the kernel-interface module stand-ins
    std::filesystem::path bin;     // folder of the fake dmidecode and ps
};

// Looks beside the running program (a build tree) and in the private folder of an installation. Throws
// std::runtime_error naming the part that is not there.
Installation find_installation();

// The machine's own library folder: the modules that the scene has. A scene without one of them says so in
// /lib-absent, one file name per line.
void provide_modules(const std::filesystem::path& machine, const Installation& parts);

// Sets the environment of this process, for the command to inherit.
void enter_machine(const std::filesystem::path& machine, const Installation& parts);

} // namespace kt3::sim
