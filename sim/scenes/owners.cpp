// SPDX-License-Identifier: MIT
#include "scenes/owners.hpp"

#include "scenes/adapters.hpp"
#include "scenes/memory_writer.hpp"

namespace kt3::sim {
namespace {

// A container's identifier has 64 hexadecimal digits.
#define KT3_ID(head) head "5e0b9d1c47a2f38864f1c0de93b7a5526d8ef014b3c29a7700"

// clang-format off
constexpr GpuProcess kContained[] = {
    {42001, 0x10, "/usr/bin/train",
     "/system.slice/docker-" KT3_ID("d0c4e1ab5e5500") ".scope", 0},
    {42002, 0x11, "/usr/bin/infer", "/docker/" KT3_ID("d0c4e1ab5e5511"), 1000},
    {42003, 0x12, "/usr/bin/encode", "/system.slice/containerd.service/default/encoder", 0},
    {42004, 0x13, "/usr/bin/render",
     "/user.slice/user-1000.slice/user@1000.service/user.slice/libpod-" KT3_ID("90da0000000022") ".scope/container", 1000},
    {42005, 0x14, "/app/serve",
     "/kubepods.slice/kubepods-burstable.slice/kubepods-burstable-pod0a1b2c3d_4e5f_6071_8293_a4b5c6d7e8f9.slice/"
     "cri-containerd-" KT3_ID("c0de0000000033") ".scope", 65534},
    {42006, 0x15, "/app/batch",
     "/kubepods/besteffort/pod11112222-3333-4444-5555-666677778888/" KT3_ID("c0de0000000044"), 65534},
    {42007, 0x16, "/app/notebook",
     "/kubepods.slice/kubepods-podaaaabbbb_cccc_dddd_eeee_ffff00001111.slice/crio-" KT3_ID("c0de0000000055") ".scope", 1001},
    {42008, 0x17, "/home/ada/solver", "/system.slice/slurmstepd.scope/job_1234/step_0/user/task_0", 1002},
    {42009, 0x18, "/home/bob/solver", "/slurm/uid_1003/job_1235/step_batch", 1003},
    {42010, 0x19, "/usr/bin/compositor", "/user.slice/user-1000.slice/user@1000.service/session.slice/compositor.service", 1000},
    {42011, 0x1a, "/usr/sbin/streamd", "/system.slice/streamd.service", 998},
};

constexpr GpuProcess kIdle[] = {
    {43001, 0x10, "/usr/bin/compositor"},
    {43002, 0x11, "/usr/bin/defunct", ProcessFacts().control_group, 1000, 'Z'},
    {43003, 0x12, "/usr/bin/paused", ProcessFacts().control_group, 1000, 'T'},
    {43004, 0x13, "/usr/bin/hanging", ProcessFacts().control_group, 1000, 'D'},
    {5'000'001, 0x14, ""}, // beyond the pids that kernels hand out: ended, its device still open
    {43005, 0x15, "/usr/bin/newcomer", ProcessFacts().control_group, 1000, 'S', 900'000}, // later than the device
};
constexpr std::uint32_t kNestedPidNamespace = 4'026'532'999;
constexpr std::uint32_t kClosedDevice = 0x7f; // in allocations, not among the open devices
// clang-format on

} // namespace

void build_containers(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    int count = 1;
    for (const GpuProcess& process : kContained) {
        memory.process(process);
        memory.allocations(kShapes[0], process.device, count++);
    }
}

void build_orphans(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    for (const GpuProcess& process : kIdle) {
        memory.process(process);
        memory.allocations(kShapes[0], process.device, 3);
    }
    memory.allocations(kFrame, kClosedDevice, 2);
}

void build_in_container(Machine& machine) {
    build_orphans(machine);
    machine.kernel({.pid_namespace = kNestedPidNamespace});
}

} // namespace kt3::sim
