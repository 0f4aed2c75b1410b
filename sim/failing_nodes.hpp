// SPDX-License-Identifier: MIT
#pragma once
// Files of the machine that answer late, never, or no longer, as drivers in trouble do. Two lists, one file per line,
// fields apart by tabs:
//
//     <machine>/slow-nodes   /sys/bus/pci/devices/0000:03:00.0/wy_info/coreclk  forever
//                            simulated path; how long opening it for reading takes, in milliseconds or forever
//     <machine>/lost-nodes   /sys/bus/pci/devices/0000:03:00.0/wy_info/eclk  3  19
//                            simulated path; from the how manyth opening for reading on it fails; the error number
//
// A path that ends in "/" stands for all files of that folder. Without a list, opening files costs nothing more.

#include <cstdint>
#include <string>
#include <string_view>

namespace kt3::sim {

inline constexpr std::int64_t kForever = -1;

void add_slow_node(const std::string& root, const std::string& path, std::int64_t milliseconds);
void add_lost_node(const std::string& root, const std::string& path, std::uint32_t first_lost, int error);

// Makes lists count that somebody wrote into the machine's folder by hand.
void take_up_failing_nodes(const std::string& root);

// Whether any file is listed at all. Costs no system call.
bool anything_fails(std::string_view root);

// What opening a file for reading comes to. Waits first when the file is slow.
struct Opening {
    int error = 0;       // the opening fails with it
    std::string instead; // when not empty: a FIFO that nobody writes to, to be opened in its place
};
Opening open_failing_node(const std::string& root, const char* simulated_path);

} // namespace kt3::sim
