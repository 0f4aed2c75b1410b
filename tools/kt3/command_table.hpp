// SPDX-License-Identifier: MIT
#pragma once
// The commands of kt3. A new one is a file in commands/ and a line in command_table.def.

#include "kt3/options.hpp"
#include "kt3/repeated.hpp"
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
ExitStatus run_summary(Session& session, const Repetition& repetition);
[[nodiscard]] std::vector<DocumentForm> describe_summary();

// The options of `kt3` alone: named fields instead of the summary.
struct QueryArguments {
    std::string fields; // names with commas between them; empty: no query
    bool list = false;  // the names themselves
    bool noheader = false;
    bool nounits = false;
    Repetition repetition;

    [[nodiscard]] bool any() const {
        return !fields.empty() || list || noheader || nounits || repetition.wait || repetition.count;
    }
};
void add_alone(CLI::App& app, Options& options, QueryArguments& arguments);

// What `kt3` does without a command. The arguments must outlive it.
[[nodiscard]] Chosen chosen_alone(const QueryArguments& arguments);
ExitStatus run_query(Session& session, const QueryArguments& arguments);

} // namespace kt3::cli
