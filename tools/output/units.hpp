// SPDX-License-Identifier: MIT
#pragma once
// Addresses, sizes and counts as people read them.

#include <cstdint>
#include <string>

namespace kt3::output {

[[nodiscard]] std::string hexadecimal(std::uint64_t value);                              // "0x1f40"
[[nodiscard]] std::string bytes_text(double bytes);                                      // "7.9 MiB", "512 B"
[[nodiscard]] std::string counted(std::size_t count, const char* one, const char* many); // "1 node", "2 nodes"

} // namespace kt3::output
