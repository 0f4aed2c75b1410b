// SPDX-License-Identifier: MIT
#pragma once
// What every process that looks at one simulated machine has to agree on: a few counters in <machine>/.kt3sim/state,
// mapped by each of them, so that asking "is there anything to do?" costs no system call.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kt3::sim {

// Lines of <machine>/lost-nodes whose openings are counted.
inline constexpr std::size_t kCountedNodes = 64;

struct MachineState {
    std::atomic<std::uint32_t> writes_issued;                   // driver writes begun; also numbers them
    std::atomic<std::uint32_t> writes_settled;                  // driver writes whose effect is in the node
    std::atomic<std::uint32_t> refusals;                        // entries of <machine>/.kt3sim/refused
    std::atomic<std::uint32_t> changing_folders;                // 1 when <machine>/.kt3sim/changing names one
    std::atomic<std::uint32_t> listings;                        // of the changing folder
    std::atomic<std::uint32_t> moving;                          // entries of <machine>/moving-nodes
    std::atomic<std::uint32_t> moving_steps;                    // openings of moving files, when these are the clock
    std::atomic<std::uint32_t> failing_nodes;                   // 1 when <machine>/slow-nodes or lost-nodes names one
    std::atomic<std::uint32_t> openings_of_lost[kCountedNodes]; // by line
    std::atomic<std::int64_t> first_reading_ms;                 // of a moving file, on their clock
};

static_assert(std::atomic<std::uint32_t>::is_always_lock_free && std::atomic<std::int64_t>::is_always_lock_free,
              "processes share the counters through a mapped file");

// The counters of the machine in this folder, created when absent; null when the folder is not writable and has none.
// The mapping is kept for the machine that was asked for last.
MachineState* machine_state(std::string_view root);

// Where the machine keeps what is not part of its tree.
inline std::string private_path(const std::string& root, const char* name) {
    return root + "/.kt3sim/" + name;
}

// The one name under which a file of the machine is known whatever links lead to it. Adapters are below
// /sys/bus/pci/devices in it.
std::string usual_path(const std::string& root, const char* simulated_path);

} // namespace kt3::sim
