// SPDX-License-Identifier: MIT
#pragma once
// The pages of /proc that say what a process is.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kt3::observe {

// Of /proc/PID/stat: "4711 (a name) S 1 ...". The name may hold spaces, parentheses and line ends.
struct ProcessStat {
    std::string name;             // at most 15 characters
    std::string state;            // one letter: R, S, D, T, Z and others
    std::uint64_t start_time = 0; // clock ticks after the boot
};
[[nodiscard]] std::optional<ProcessStat> parse_process_stat(std::string_view text);

// Of /proc/PID/status, "Key:\tvalue" lines.
struct ProcessStatus {
    std::optional<std::uint32_t> uid;      // the effective one, as ps shows it
    std::optional<std::int32_t> inner_pid; // in the innermost pid namespace, when it is in more than one
};
[[nodiscard]] ProcessStatus parse_process_status(std::string_view text);

// When the machine started, in seconds since 1970: the line "btime 1767225600" of /proc/stat.
[[nodiscard]] std::optional<std::int64_t> parse_boot_time(std::string_view text);

} // namespace kt3::observe
