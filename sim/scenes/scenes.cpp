// SPDX-License-Identifier: MIT
#include "scenes/scenes.hpp"

#include "scenes/adapters.hpp"
#include "scenes/allocations.hpp"
#include "scenes/load.hpp"
#include "scenes/owners.hpp"
#include "scenes/trouble.hpp"
#include "scenes/vm_scenes.hpp"

namespace kt3::sim {
namespace {

constexpr std::uint16_t kNvidia = 0x10DE;
constexpr std::uint16_t kAmd = 0x1002;

constexpr char kDemoPreferences[] = "; tqm_gfx_util.ini\n\n"
                                    "[game]\nFullPath = /usr/games/game\nPreferGpuName = Gpu0:Vorla-55F0\n"
                                    "PreferGpuBusID = 0000:03:00.0\nGpuPrefer = 0\n\n\n"
                                    "[player]\nFullPath = /usr/bin/player\nPreferGpuName = Gpu1:QN R-4480\n"
                                    "PreferGpuBusID = 0000:05:00.0\nGpuPrefer = 1\n\n\n";

void idle(Machine& machine) {
    add_newer(machine, "0000:03:00.0");
}

void old_family(Machine& machine) {
    add_older(machine, "0000:02:00.0");
}

void two_families(Machine& machine) {
    add_newer(machine, "0000:03:00.0");
    add_older(machine, "0000:05:00.0");
}

// The same game has the memory, the page tables and a preference.
void demo(Machine& machine) {
    const Adapter newer = add_newer(machine, "0000:03:00.0");
    const Adapter older = add_older(machine, "0000:05:00.0");
    machine.foreign_gpu("0000:08:00.0", kNvidia);
    add_game_memory(machine, newer);
    add_player_memory(machine, older);
    add_two_clients(machine);
    machine.file("/home/.local/share/tqm_gfx_util.ini", kDemoPreferences);
}

void foreign_gpu(Machine& machine) {
    add_newer(machine, "0000:03:00.0");
    machine.foreign_gpu("0000:08:00.0", kNvidia);
}

void four_devices(Machine& machine) {
    add_newer(machine, "0000:03:00.0");
    add_older(machine, "0000:05:00.0");
    add_newer(machine, "0000:07:00.0", {.device = 0x5C05});
    machine.foreign_gpu("0000:08:00.0", kAmd, {.device = 0x73BF});
}

void no_gpu(Machine&) {}

void missing_nodes(Machine& machine) {
    Adapter adapter = machine.adapter("0000:03:00.0", Family::newer);
    adapter.node("eclk", "300\n").node("enable_usage", "0\n").node("driver_version", "25.0.46\n");
    adapter.driver_version("wy 25.0.46 20240318 Graphics driver of the newer family\n");
}

void no_rights(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    for (const std::string& folder : {adapter.node_path(""), adapter.hwmon_path("")}) {
        for (const auto& file : std::filesystem::directory_iterator(machine.real(folder))) {
            machine.refuse(folder + file.path().filename().string());
        }
    }
    machine.refuse("/proc/gpuinfo_0");
    machine.refuse("/sys/kernel/debug");
}

void no_device_rights(Machine& machine) {
    add_newer(machine, "0000:03:00.0");
    machine.refuse("/dev/dri/card0");
    machine.refuse("/dev/dri/renderD128");
}

// The first choice of the older family is missing, which leaves the module that offers the older names only.
void old_interface(Machine& machine) {
    add_older(machine, "0000:02:00.0");
    machine.file("/lib-absent", "libkt3keinterface_v2.so.0.0.0\n");
}

void no_module(Machine& machine) {
    add_newer(machine, "0000:03:00.0");
    machine.file("/lib-absent", "libvorlakeinterface_v2.so.0.0.0\n");
}

// clang-format off
constexpr Scene kScenes[] = {
    {"idle",             "one adapter of the newer family, at rest",                               idle},
    {"two-families",     "one adapter of each family",                                             two_families},
    {"demo",             "one adapter of each family and an NVIDIA card, with something for every command", demo},
    {"foreign-gpu",      "one adapter of the newer family and an NVIDIA card",                     foreign_gpu},
    {"four-devices",     "three adapters and an AMD card: more than the library looks at",         four_devices},
    {"no-gpu",           "no graphics adapter at all",                                             no_gpu},
    {"old-family",       "one adapter of the older family, at rest",                               old_family},
    {"missing-nodes",    "an adapter whose driver publishes three nodes and nothing else",         missing_nodes},
    {"no-rights",        "one adapter whose nodes, pages and debugfs files may not be read",       no_rights},
    {"no-module",        "one adapter whose kernel-interface module is missing",                   no_module},
    {"old-interface",    "one adapter of the older family with the older module",                  old_interface},
    {"game",             "one adapter of the newer family under load, its values move",            build_game},
    {"video",            "one adapter of the newer family playing a film",                         build_video},
    {"throttled",        "one adapter of the newer family too hot for its clock",                  build_throttled},
    {"extended-interface", "one adapter whose module has the extended interface",                  build_extended_interface},
    {"no-device-rights", "one adapter whose device nodes may not be opened",                       no_device_rights},
    {"vm-small",         "GPU page tables of two clients, readable by eye",                        vm_small},
    {"vm-deep",          "GPU page tables of three levels, with runs in odd orders, dropped lines", vm_deep},
    {"vm-big",           "four clients with page tables, one of them with 320 000 lines",          vm_big},
    {"vm-broken",        "page tables with bad numbers, missing keys and over-long fields",        vm_broken},
    {"busy",             "a dozen processes with a few hundred allocations, one of them above 4 GiB",  build_busy},
    {"leak",             "one process whose allocations grow each time anybody looks",             build_leak},
    {"old-family-heaps", "the older family with heap pages, one above 4 GiB, and allocations",     build_old_family_heaps},
    {"segment-node",     "seven segments in the driver's node",                                    build_segment_node},
    {"moving-leak",      "a process that leaks for some time and then no more",                    build_moving_leak},
    {"filling",          "memory that grows until the adapter is full",                            build_filling},
    {"containers",       "memory of processes in containers, pods, jobs and units",                build_containers},
    {"orphans",          "memory of processes that ended, or that are stopped",                    build_orphans},
    {"in-container",     "the same, seen from a container with process ids of its own",            build_in_container},
    {"hung-node",        "one adapter with a node that never answers",                             build_hung_node},
    {"hung-debugfs",     "one adapter with an allocation that never answers",                      build_hung_debugfs},
    {"lost-adapter",     "one adapter that is lost after some readings",                           build_lost_adapter},
    {"three-gpus",       "three adapters at work",                                                 build_three_gpus},
    {"four-gpus",        "four adapters: one more than the library has slots for",                 build_four_gpus},
    {"suspended",        "one adapter at work and one that sleeps",                                build_suspended},
    {"churn",            "allocations that vanish while they are read",                            build_churn},
    {"big",              "ten thousand allocations",                                               build_big},
};
// clang-format on

} // namespace

std::span<const Scene> scenes() {
    return kScenes;
}

const Scene* find_scene(std::string_view name) {
    for (const Scene& scene : kScenes) {
        if (scene.name == name) {
            return &scene;
        }
    }
    return nullptr;
}

void build_scene(const Scene& scene, Machine& machine) {
    add_mainboard(machine);
    scene.build(machine);
}

} // namespace kt3::sim
