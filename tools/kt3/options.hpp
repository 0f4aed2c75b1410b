// SPDX-License-Identifier: MIT
#pragma once
// The options that commands share.

#include "output/format.hpp"
#include "support/owned.hpp"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kt3::cli {

using output::Format;

struct Options {
    std::vector<std::string> gpus; // slots, bus ids or "all"; empty when not given
    bool json = false;
    bool csv = false;
    bool strict = false; // readings that are absent without being the chip's fault are an error
    std::string output;  // file of -o; empty for standard output
    std::string color = "auto";
    bool verbose = false;
    bool wake = false;   // adapters that sleep are read, too
    double timeout = 2;  // seconds that a look may take
    std::string library; // empty: search
};

[[nodiscard]] Format format_of(const Options& options);

// What a command accepts besides its own arguments.
struct Accepts {
    bool gpu = false;
    bool csv = false;
    bool json = true;
};
void add_timeout(CLI::App& app, Options& options);
void add_shared_options(CLI::App& app, Options& options, Accepts accepts);

// COLUMNS, else what the terminal says; 0 when neither does.
[[nodiscard]] std::size_t terminal_width(const support::Fd& terminal);

// --color, then NO_COLOR, then whether a terminal will show it.
[[nodiscard]] bool wants_color(const Options& options, bool is_terminal);

} // namespace kt3::cli
