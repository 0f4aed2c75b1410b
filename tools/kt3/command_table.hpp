#pragma once
// The commands of kt3. A new one is a file in commands/ and a line in command_table.def.

#include "kt3/options.hpp"
#include "kt3/session.hpp"

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

// What `kt3` alone does.
ExitStatus run_summary(Session& session);

} // namespace kt3::cli
