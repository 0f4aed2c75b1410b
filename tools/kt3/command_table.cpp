// SPDX-License-Identifier: MIT
#include "kt3/command_table.hpp"

#include "kt3/arguments.hpp"

#include <utility>

namespace kt3::cli {

#define KT3_COMMAND(name)                                                                                              \
    void add_##name(CLI::App& app, Options& options, Chosen& chosen);                                                  \
    std::vector<DocumentForm> describe_##name();
#include "kt3/command_table.def"
#undef KT3_COMMAND

namespace {

struct Command {
    void (*add)(CLI::App&, Options&, Chosen&);
    std::vector<DocumentForm> (*describe)();
};

constexpr Command kCommands[] = {
#define KT3_COMMAND(name) {add_##name, describe_##name},
#include "kt3/command_table.def"
#undef KT3_COMMAND
};

} // namespace

CLI::App& add_command(CLI::App& app, const char* name, const char* description, Options& options, Chosen& chosen,
                      Accepts accepts, std::function<ExitStatus(Session&)> run) {
    CLI::App& command =
        add_leaf(app, name, description, [&chosen, accepts, run = std::move(run)](const std::string& full_name) {
            chosen = {full_name, accepts, run};
        });
    add_shared_options(command, options, accepts);
    return command;
}

void add_all_commands(CLI::App& app, Options& options, Chosen& chosen) {
    for (const Command& command : kCommands) {
        command.add(app, options, chosen);
    }
}

std::vector<DocumentForm> describe_all_commands() {
    std::vector<DocumentForm> all = describe_summary();
    for (const Command& command : kCommands) {
        for (DocumentForm& form : command.describe()) {
            all.push_back(std::move(form));
        }
    }
    return all;
}

} // namespace kt3::cli
