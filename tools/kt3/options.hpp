// SPDX-License-Identifier: MIT
#pragma once
// The options that commands share.

#include "output/format.hpp"

#include <string>

namespace CLI {
class App;
}

namespace kt3::cli {

using output::Format;

struct Options {
    std::string gpu; // slot, bus id or "all"; empty when not given
    bool json = false;
    bool csv = false;
    std::string output; // file of -o; empty for standard output
    std::string color = "auto";
    bool verbose = false;
    std::string library; // empty: search
};

[[nodiscard]] Format format_of(const Options& options);

// What a command accepts besides its own arguments.
struct Accepts {
    bool gpu = false;
    bool csv = false;
};
void add_shared_options(CLI::App& app, Options& options, Accepts accepts);

// --color, then NO_COLOR, then whether a terminal will show it.
[[nodiscard]] bool wants_color(const Options& options, bool is_terminal);

} // namespace kt3::cli
