// SPDX-License-Identifier: MIT
#pragma once
// Driver nodes that answer writes. A driver receives the text of a write and changes its page as it sees fit; a plain
// file would keep its old tail, or take a command for its content.
//
// Whoever opens a node for writing gets a fresh spool file instead and holds a shared lock on it, which ends when the
// last descriptor is closed, however the text was written. Before anybody opens a file of the machine, the finished
// spool files are settled in their order: the driver's meaning is applied to the node, and the write is recorded.

#include <string>
#include <string_view>
#include <vector>

namespace kt3::sim {

// One write that a driver received.
struct DriverWrite {
    std::string path;     // of the node, below /sys/bus/pci/devices
    std::string text;     // as written
    bool refused = false; // the driver could make nothing of it; its page stayed as it was
};

// Whether the simulated path names a file in a driver's directory of nodes.
bool is_driver_node(std::string_view simulated_path);

// A descriptor to write on for the node at this simulated path. -1 and errno when there is no such node.
int open_for_driver(const std::string& root, const char* simulated_path, int flags);

// Whether anything was begun that is not settled yet. Costs no system call.
bool writes_pending(std::string_view root);

// Applies and records what was written since the last time.
void settle_driver_writes(const std::string& root);

// Every write settled so far, in order.
std::vector<DriverWrite> driver_writes(const std::string& root);

// Control bytes, tabs, quotes and backslashes as escapes, so that a text fits on one line.
std::string escaped(std::string_view text);

} // namespace kt3::sim
