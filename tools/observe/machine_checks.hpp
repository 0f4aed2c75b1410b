// SPDX-License-Identifier: MIT
#pragma once
// What stands between the user and full readings. Nothing is bound or changed.

#include "observe/adapter/machine.hpp"
#include "observe/failure.hpp"

#include <optional>
#include <string>
#include <vector>

namespace kt3::observe {

enum class Level { ok, note, problem };

struct Finding {
    Level level = Level::ok;
    std::string check; // what was looked at, one word
    std::string message;
    std::string fix{};
    std::optional<int> slot{};
    ExitStatus status = ExitStatus::ok; // of a problem
    std::string code = "ok";            // one word for scripts
};

using Findings = std::vector<Finding>;

// What each looks at goes to the end of the findings. They are called in the order in which things depend on each
// other.
void check_library(const Library& library, Findings& findings);
void note_missing_library(const Failure& failure, Findings& findings);
void check_driver_places(Findings& findings); // DRM nodes and debugfs
void check_adapters(const Machine& machine, Findings& findings);
void check_programs(Findings& findings);

} // namespace kt3::observe
