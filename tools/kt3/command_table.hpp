// SPDX-License-Identifier: MIT
#pragma once
// The commands of kt3. A new one is a file in commands/ and a line in command_table.def.

#include "kt3/options.hpp"
#include "kt3/session.hpp"
#include "output/schema.hpp"

#include <functional>

namespace kt3::cli {

// What the arguments chose; main runs it.
struct Chosen {
    std::string name; // "prefer set"
    Accepts accepts;
    std::function<ExitStatus(Session&)> run;
};

// Adds one subcommand to `app`, with the shared options it accepts, and makes it the chosen one when it is parsed.
// Returns it so that the command can add its own arguments.
CLI::App& add_command(CLI::App& app, const char* name, const char* description, Options& options, Chosen& chosen,
                      Accepts accepts, std::function<ExitStatus(Session&)> run);

// Adds all of command_table.def.
void add_all_commands(CLI::App& app, Options& options, Chosen& chosen);

// What their JSON documents hold, after those of `kt3` alone.
[[nodiscard]] std::vector<DocumentForm> describe_all_commands();

// What `kt3` alone does.
ExitStatus run_summary(Session& session);
[[nodiscard]] std::vector<DocumentForm> describe_summary();

} // namespace kt3::cli
