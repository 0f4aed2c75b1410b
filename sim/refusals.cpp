// SPDX-License-Identifier: MIT
#include "refusals.hpp"

#include "machine_state.hpp"

#include <fstream>

namespace kt3::sim {
namespace {

bool lies_beneath(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 && path[folder.size()] == '/';
}

} // namespace

void refuse(const std::string& root, const std::string& simulated_path) {
    if (MachineState* state = machine_state(root)) {
        std::ofstream(private_path(root, "refused"), std::ios::app) << usual_path(root, simulated_path.c_str()) << '\n';
        state->refusals.fetch_add(1);
    }
}

bool refuses_anything(std::string_view root) {
    const MachineState* state = machine_state(root);
    return state != nullptr && state->refusals.load() != 0;
}

bool is_refused(const std::string& root, const char* simulated_path, Touch touch) {
    const std::string path = usual_path(root, simulated_path);
    std::ifstream entries(private_path(root, "refused"));
    for (std::string entry; std::getline(entries, entry);) {
        if (lies_beneath(path, entry) || (touch == Touch::content && path == entry)) {
            return true;
        }
    }
    return false;
}

} // namespace kt3::sim
