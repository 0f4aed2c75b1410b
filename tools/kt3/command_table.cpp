#include "kt3/command_table.hpp"

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
    CLI::App& command = *app.add_subcommand(name, description);
    add_shared_options(command, options, accepts);
    const std::string parent = app.get_name() == "kt3" ? "" : app.get_name() + " ";
    command.final_callback([&chosen, accepts, full_name = parent + name, run = std::move(run)] {
        chosen = {full_name, accepts, run};
    });
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
