// SPDX-License-Identifier: MIT
#include "scenes/trouble.hpp"

#include "scenes/adapters.hpp"
#include "scenes/allocations.hpp"
#include "scenes/load.hpp"

#include <cerrno>

namespace kt3::sim {
namespace {

// Readings that an adapter answers before it is lost: about four looks at everything.
constexpr std::uint32_t kNodesAnswered = 60;
constexpr std::uint32_t kSensorsAnswered = 14;
constexpr std::uint32_t kPagesAnswered = 4;

} // namespace

void build_hung_node(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    add_game_memory(machine, adapter);
    machine.slow(adapter.node_path("coreclk"), kForever);
}

void build_hung_debugfs(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    add_game_memory(machine, adapter);
    machine.slow(adapter.debugfs_path("allocations/1002/info"), kForever);
}

void build_lost_adapter(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    add_game_memory(machine, adapter);
    machine.lose(adapter.node_path(""), kNodesAnswered, ENODEV);
    machine.lose(adapter.hwmon_path(""), kSensorsAnswered, ENODEV);
    machine.lose("/proc/gpuinfo_0", kPagesAnswered, ENODEV);
    machine.lose(adapter.debugfs_path(""), kNodesAnswered, ENODEV);
}

void build_three_gpus(Machine& machine) {
    Adapter first = add_newer(machine, "0000:03:00.0");
    Adapter second = add_older(machine, "0000:05:00.0");
    Adapter third = add_newer(machine, "0000:07:00.0", {.device = 0x5C05});
    put_to_work(first, 70, 90, 60);
    put_to_work(second, 20, 40, 30);
    put_to_work(third, 40, 60, 45);
    add_game_memory(machine, first);
    add_player_memory(machine, second);
}

void build_four_gpus(Machine& machine) {
    build_three_gpus(machine);
    add_older(machine, "0000:0b:00.0");
}

void build_suspended(Machine& machine) {
    Adapter first = add_newer(machine, "0000:03:00.0");
    Adapter second = add_newer(machine, "0000:07:00.0");
    put_to_work(first, 70, 90, 60);
    second.pci_file("power/runtime_status", "suspended\n");
}

} // namespace kt3::sim
