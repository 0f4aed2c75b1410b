// SPDX-License-Identifier: MIT
#pragma once
// What the command line of kt3-sim asks for.

#include <string>
#include <string_view>
#include <vector>

namespace kt3::sim {

enum class Action { help, version, scenes, tree, run, log, usage_error };

struct Options {
    Action action = Action::usage_error;
    std::string scene;                // of `run` and `tree`; for `run` a folder when it has a slash
    std::string folder;               // of `tree`
    std::vector<std::string> command; // of `run`
    std::string error;                // why `action` is usage_error
};

Options parse_options(const std::vector<std::string>& arguments);

std::string_view help_text();

} // namespace kt3::sim
