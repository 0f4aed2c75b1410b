// SPDX-License-Identifier: MIT
#pragma once
// What the control groups of a process say of who started it. systemd, container runtimes, Kubernetes and Slurm put
// each process into groups whose names say what it belongs to, so no runtime has to be asked.

#include <optional>
#include <string>
#include <string_view>

namespace kt3::observe {

struct ControlGroup {
    std::optional<std::string> unit;      // "streamd.service", as systemd spells it
    std::optional<std::string> container; // the identifier, or the name where the runtime uses names
    std::optional<std::string> runtime;   // "docker"; absent when the path does not say
    std::optional<std::string> pod;       // its uid, with dashes
    std::optional<std::string> job;       // of Slurm: "1234"

    bool operator==(const ControlGroup&) const = default;
};

// The text of /proc/PID/cgroup, one line per hierarchy: "0::/system.slice/streamd.service". Of nested containers, pods
// and units the innermost counts. Lines that are none are passed over.
[[nodiscard]] ControlGroup parse_control_group(std::string_view text);

} // namespace kt3::observe
