#pragma once
// The checks behind kt3 doctor.

#include "kt3/session.hpp"

#include <optional>
#include <string>
#include <vector>

namespace kt3::cli {

enum class Level { ok, note, problem };

struct Finding {
    Level level = Level::ok;
    const char* check = ""; // what was looked at, one word
    std::string message;
    std::string fix{};
    std::optional<int> slot{};
    ExitStatus status = ExitStatus::ok; // of a problem
};

// In the order in which things depend on each other. Fills session.machine when the library can be opened.
[[nodiscard]] std::vector<Finding> examine_machine(Session& session);

} // namespace kt3::cli
