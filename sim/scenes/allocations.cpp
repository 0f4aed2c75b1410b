// SPDX-License-Identifier: MIT
#include "scenes/allocations.hpp"

#include "changing_folder.hpp"
#include "scenes/adapters.hpp"
#include "scenes/memory_writer.hpp"

#include <array>

namespace kt3::sim {
namespace {

constexpr std::uint32_t kNoSuchPid = 5'000'001; // beyond what kernels hand out

// clang-format off
constexpr GpuProcess kProcesses[] = {
    {41001, 0x10, {"/usr/lib/xorg/Xorg\0:0\0", 22}},
    {41002, 0x11, "/usr/bin/compositor"},
    {41003, 0x12, "/usr/bin/browser"},
    {41004, 0x13, {"/usr/bin/browser\0--type=gpu\0", 28}},
    {41005, 0x14, "/opt/applications/modelling-suite/releases/2024.2/bin/render-farm-worker-process"},
    {41006, 0x15, "player"},
    {41007, 0x16, "\x1b[31mred\x1b[0m\a player\n"},
    {41008, 0x17, "/usr/games/racer"},
    {41009, 0x18, "terminal"},
    {41010, 0x19, "/usr/bin/file, manager \"home\""},
    {kNoSuchPid, 0x1a, ""},
    {41012, 0x1b, "caf\xe9"},
};
constexpr std::uint32_t kOrphanDevice = 0x7f; // in allocations, not among the open devices

// clang-format on

} // namespace

void build_busy(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    for (std::size_t at = 0; at < std::size(kProcesses); ++at) {
        memory.process(kProcesses[at]);
        for (std::size_t shape = 0; shape < std::size(kShapes); ++shape) {
            memory.allocations(kShapes[shape], kProcesses[at].device, static_cast<int>(1 + (at + 2 * shape) % 6));
        }
    }
    memory.allocations(kHuge, kProcesses[4].device, 6);
    memory.allocations(kShapes[1], kOrphanDevice, 4);
    memory.allocations(kMisplaced, kProcesses[8].device, 1);
}

void build_leak(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    constexpr GpuProcess leaky{41020, 0x20, "/usr/bin/leaky-player"};
    constexpr GpuProcess steady{41021, 0x21, "/usr/bin/compositor"};
    constexpr GpuProcess busy{41022, 0x22, "/usr/bin/browser"};
    for (const GpuProcess& process : {leaky, steady, busy}) {
        memory.process(process);
    }
    memory.allocations(kFrame, steady.device, 3);
    memory.allocations(kShapes[1], steady.device, 40);
    memory.allocations(kShapes[0], leaky.device, 2);
    make_changing(
        machine.root, adapter.debugfs_path("allocations"),
        {{.count = 3, .first_name = 50000, .page = page_of(kShapes[0], std::to_string(leaky.device))},
         {.count = 8, .stay = 1, .first_name = 600000, .page = page_of(kShapes[3], std::to_string(busy.device))},
         {.every = 2,
          .count = 5,
          .stay = 1,
          .first_name = 7000000,
          .page = page_of(kShapes[2], std::to_string(busy.device))}});
}

void build_old_family_heaps(Machine& machine) {
    Adapter adapter = add_older(machine, "0000:02:00.0");
    adapter.debugfs("heaps/heap_local/info", "Total segment size:  6442450944\nKMD used segment memory:  67108864\n");
    MemoryWriter memory(machine, adapter, false);
    for (const GpuProcess& process : {kProcesses[0], kProcesses[1]}) {
        memory.process(process);
        memory.allocations(kShapes[0], process.device, 10);
        memory.allocations(kShapes[4], process.device, 64);
    }
    memory.allocations(kShapes[6], kProcesses[1].device, 4);
}

void build_segment_node(Machine& machine) {
    add_newer(machine, "0000:03:00.0")
        .node("segment_info", "segment_id:0,total_size:268435,used_size:20971\n"
                              "segment_id:1,total_size:8321499,used_size:6301990\n"
                              "segment_id:2,total_size:4294967,used_size:12582\n"
                              "segment_id:3,total_size:4294967,used_size:8388\n"
                              "segment_id:4,total_size:1000000,used_size:500000\n"
                              "segment_id:5,total_size:2000000,used_size:250000\n"
                              "segment_id:6,total_size:4000000,used_size:125000\n");
}

void add_game_memory(Machine& machine, const Adapter& newer) {
    MemoryWriter memory(machine, newer, true);
    constexpr GpuProcess server{41001, 0x10, "/usr/lib/xorg/Xorg"};
    constexpr GpuProcess game{4711, 0x12, "/usr/games/game"};
    constexpr GpuProcess desktop{998, 0x2a, "/usr/bin/desktop"};
    for (const GpuProcess& process : {server, game, desktop}) {
        memory.process(process);
    }
    memory.allocations(kShapes[0], server.device, 2);
    memory.allocations(kShapes[4], server.device, 3);
    memory.allocations(kFrame, game.device, 3);
    memory.allocations(kShapes[3], game.device, 12);
    memory.allocations(kShapes[1], desktop.device, 8);
    memory.allocations(kShapes[5], desktop.device, 4);
    make_changing(machine.root, newer.debugfs_path("allocations"),
                  {{.first_name = 50000, .page = page_of(kShapes[3], std::to_string(game.device))}});
}

void add_player_memory(Machine& machine, const Adapter& older) {
    MemoryWriter memory(machine, older, false);
    constexpr GpuProcess player{41006, 0x15, "/usr/bin/player"};
    memory.process(player);
    memory.allocations(kShapes[0], player.device, 3);
    memory.allocations(kShapes[6], player.device, 5);
    memory.allocations(kShapes[2], player.device, 4);
}

void build_moving_leak(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    constexpr GpuProcess leaky{41020, 0x20, "/usr/bin/leaky-player"};
    constexpr GpuProcess steady{41021, 0x21, "/usr/bin/compositor"};
    memory.process(leaky);
    memory.process(steady);
    memory.allocations(kFrame, steady.device, 3);
    memory.allocations(kShapes[0], leaky.device, 2);
    make_changing(machine.root, adapter.debugfs_path("allocations"),
                  {{.from = 6,
                    .until = 25,
                    .count = 2,
                    .first_name = 50000,
                    .page = page_of(kShapes[0], std::to_string(leaky.device))}});
}

void build_filling(Machine& machine) {
    Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    constexpr GpuProcess trainer{41030, 0x30, "/opt/training/train"};
    memory.process(trainer);
    memory.allocations(kFrame, trainer.device, 8);
    constexpr std::int64_t kMinute = 60'000;
    adapter.moving_node("free_fb_mem", Waveform::ramp, 4000, 0, kMinute);
    make_changing(
        machine.root, adapter.debugfs_path("allocations"),
        {{.until = 120, .count = 2, .first_name = 50000, .page = page_of(kFrame, std::to_string(trainer.device))}});
}

void build_churn(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    for (const GpuProcess& process : {kProcesses[1], kProcesses[2]}) {
        memory.process(process);
        memory.allocations(kShapes[0], process.device, 8);
        memory.allocations(kShapes[2], process.device, 16);
    }
    make_changing(machine.root, adapter.debugfs_path("allocations"),
                  {{.every = 2,
                    .count = 4,
                    .unread = true,
                    .first_name = 2000,
                    .page = page_of(kShapes[3], std::to_string(kProcesses[2].device))}});
}

void build_big(Machine& machine) {
    constexpr int kAllocations = 10'000;
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    for (const GpuProcess& process : kProcesses) {
        memory.process(process);
    }
    for (int at = 0; at < kAllocations; ++at) {
        const auto index = static_cast<std::size_t>(at);
        memory.allocation(kShapes[index % std::size(kShapes)], kProcesses[index % std::size(kProcesses)].device);
    }
}

} // namespace kt3::sim
