// SPDX-License-Identifier: MIT
#include "runner/environment.hpp"

#include <cstdlib>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>

namespace kt3::sim {
namespace {

namespace fs = std::filesystem;

fs::path find_part(const fs::path& program_folder, const char* in_build_tree, const char* installed) {
    const fs::path places[] = {program_folder / in_build_tree, program_folder / KT3SIM_PRIVATE_FOLDER / installed};
    for (const fs::path& place : places) {
        if (fs::exists(place)) {
            return fs::canonical(place);
        }
    }
    throw std::runtime_error(std::string(installed) + " of the simulator is missing: neither " + places[0].string() +
                             " nor " + places[1].string() + " exists");
}

// Puts `first` before what the variable holds.
void prepend(const char* variable, const std::string& first, const char* separator) {
    const char* before = std::getenv(variable);
    std::string value = first;
    if (before != nullptr && before[0] != '\0') {
        value.append(separator).append(before);
    }
    ::setenv(variable, value.c_str(), 1);
}

fs::path program_folder() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

// So that `kt3-sim log` and `kt3` are found however the runner was called, from the build tree as well.
void offer_own_programs(const fs::path& folder) {
    fs::create_directories(folder);
    for (const char* name : {"kt3-sim", "kt3"}) {
        const fs::path program = program_folder() / name;
        if (fs::exists(program) && !fs::exists(fs::symlink_status(folder / name))) {
            fs::create_symlink(program, folder / name);
        }
    }
}

} // namespace

Installation find_installation() {
    const fs::path folder = program_folder();
    return {find_part(folder, "libkt3sim.so", "libkt3sim.so"), find_part(folder, "sim/modules", "modules"),
            find_part(folder, "sim/bin", "bin")};
}

void provide_modules(const fs::path& machine, const Installation& parts) {
    std::set<std::string> absent;
    std::ifstream list(machine / "lib-absent");
    for (std::string name; std::getline(list, name);) {
        absent.insert(name);
    }
    fs::create_directories(machine / "lib");
    for (const auto& module : fs::directory_iterator(parts.modules)) {
        const std::string name = module.path().filename().string();
        const bool wanted = name.find(".so") != std::string::npos && !absent.contains(name);
        if (wanted && !fs::exists(fs::symlink_status(machine / "lib" / name))) { // a machine may bring its own
            fs::create_symlink(module.path(), machine / "lib" / name);
        }
    }
}

void enter_machine(const fs::path& machine, const Installation& parts) {
    ::setenv("KT3_SIM_ROOT", machine.c_str(), 1);
    prepend("LD_PRELOAD", parts.shim, ":");
    prepend("LD_LIBRARY_PATH", machine / "lib", ":");
    offer_own_programs(machine / "bin");
    prepend("PATH", machine / "bin", ":");
    prepend("PATH", parts.bin, ":");
    // The user's own preference file must never be touched.
    fs::create_directories(machine / "home");
    ::setenv("HOME", (machine / "home").c_str(), 1);
    // Sanitized programs insist on coming first in the list of libraries, which a preloaded one breaks harmlessly.
    prepend("ASAN_OPTIONS", "verify_asan_link_order=0", ":");
}

} // namespace kt3::sim
