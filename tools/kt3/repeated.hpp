// SPDX-License-Identifier: MIT
#pragma once
// Commands that look again and again, with -w and -n.

#include "kt3/session.hpp"

#include <cstdint>
#include <functional>
#include <optional>

namespace CLI {
class App;
}

namespace kt3::cli {

inline constexpr double kUsualWait = 1; // seconds between looks

struct Repetition {
    std::optional<double> wait; // seconds between looks
    std::optional<std::uint64_t> count;

    [[nodiscard]] bool once() const { return !wait && count.value_or(1) == 1; }
};

// -w and -n. With -w alone the command goes on until it is interrupted.
void add_repetition(CLI::App& command, Repetition& repetition);

// Looks as often as asked for; each look is sent out as one sample, and on a terminal takes the place of the one
// before. A single look is left for the end of the run. Returns the first status that is not ok.
ExitStatus repeat(Session& session, const Repetition& repetition, const std::function<ExitStatus()>& look);

} // namespace kt3::cli
