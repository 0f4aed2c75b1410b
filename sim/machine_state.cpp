// SPDX-License-Identifier: MIT
#include "machine_state.hpp"

#include "support/owned.hpp"

#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <sys/mman.h>
#include <sys/stat.h>

namespace kt3::sim {
namespace {

struct MappedState {
    std::mutex lock;
    std::string root;              // machine whose counters are mapped
    MachineState* state = nullptr; // null when that machine has none
};

// Never destroyed: programs open files until their very end.
MappedState& mapped_state() {
    static auto& mapped = *new MappedState;
    return mapped;
}

MachineState* map(const std::string& root) {
    ::mkdir(private_path(root, "").c_str(), 0777);
    const std::string path = private_path(root, "state");
    const support::Fd file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (!file) {
        return nullptr;
    }
    void* memory = MAP_FAILED;
    if (::ftruncate(file.get(), sizeof(MachineState)) == 0) {
        memory = ::mmap(nullptr, sizeof(MachineState), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    }
    return memory == MAP_FAILED ? nullptr : static_cast<MachineState*>(memory);
}

} // namespace

MachineState* machine_state(std::string_view root) {
    MappedState& mapped = mapped_state();
    const std::lock_guard guard(mapped.lock);
    if (mapped.root != root) {
        if (mapped.state != nullptr) {
            ::munmap(mapped.state, sizeof(MachineState));
        }
        mapped.root = root;
        mapped.state = map(mapped.root);
    }
    return mapped.state;
}

std::string usual_path(const std::string& root, const char* simulated_path) {
    char* resolved = ::realpath((root + simulated_path).c_str(), nullptr);
    char* resolved_root = ::realpath(root.c_str(), nullptr);
    std::string path = simulated_path;
    if (resolved != nullptr && resolved_root != nullptr) {
        const std::string whole = resolved;
        const std::string folder = resolved_root;
        path = whole.compare(0, folder.size(), folder) == 0 ? whole.substr(folder.size()) : path;
    }
    std::free(resolved);
    std::free(resolved_root);
    constexpr std::string_view devices = "/sys/devices/pci0000:00/";
    return path.compare(0, devices.size(), devices) == 0 ? "/sys/bus/pci/devices/" + path.substr(devices.size()) : path;
}

} // namespace kt3::sim
