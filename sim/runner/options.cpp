// SPDX-License-Identifier: MIT
#include "runner/options.hpp"

namespace kt3::sim {
namespace {

Options usage_error(std::string error) {
    Options options;
    options.error = std::move(error);
    return options;
}

Options only(Action action, const std::vector<std::string>& arguments) {
    Options options;
    options.action = action;
    return arguments.size() == 1 ? options : usage_error("'" + arguments[0] + "' takes no arguments");
}

Options parse_run(const std::vector<std::string>& arguments) {
    if (arguments.size() < 2) {
        return usage_error("'run' needs a scene or a folder, and a command");
    }
    const std::size_t first = arguments.size() > 2 && arguments[2] == "--" ? 3 : 2;
    if (arguments.size() <= first) {
        return usage_error("'run' needs a command after the scene");
    }
    Options options;
    options.action = Action::run;
    options.scene = arguments[1];
    options.command.assign(arguments.begin() + static_cast<std::ptrdiff_t>(first), arguments.end());
    return options;
}

Options parse_tree(const std::vector<std::string>& arguments) {
    if (arguments.size() != 3) {
        return usage_error("'tree' needs a scene and a folder");
    }
    Options options;
    options.action = Action::tree;
    options.scene = arguments[1];
    options.folder = arguments[2];
    return options;
}

} // namespace

Options parse_options(const std::vector<std::string>& arguments) {
    const std::string first = arguments.empty() ? "" : arguments[0];
    if (first == "--help" || first == "-h" || first == "help") {
        return only(Action::help, {first});
    }
    if (first == "--version") {
        return only(Action::version, {first});
    }
    if (first == "scenes") {
        return only(Action::scenes, arguments);
    }
    if (first == "log") {
        return only(Action::log, arguments);
    }
    if (first == "run") {
        return parse_run(arguments);
    }
    if (first == "tree") {
        return parse_tree(arguments);
    }
    return usage_error(first.empty() ? "nothing to do" : "unknown command '" + first + "'");
}

std::string_view help_text() {
    return "kt3-sim: a simulated machine with graphics adapters\n"
           "\n"
           "Usage:\n"
           "  kt3-sim run SCENE -- COMMAND...   run a command on the machine of a scene\n"
           "  kt3-sim run DIR -- COMMAND...     run it on a copy of the machine in a folder, named with a slash\n"
           "  kt3-sim scenes                    list the scenes\n"
           "  kt3-sim tree SCENE DIR            write the machine of a scene into a folder, to look at and to change\n"
           "  kt3-sim log                       inside a run: every text that the driver nodes received, in order\n"
           "  kt3-sim --help | --version\n"
           "\n"
           "A run needs no rights. The machine lives in a temporary folder, which goes when the command ends. "
           "Programs\n"
           "see its adapters below /sys, /dev/dri and /proc; dmidecode and ps report it; HOME lies inside it.\n"
           "\n"
           "Exit status: that of the command, 128 and the signal's number when a signal ended it, 126 or 127 when it\n"
           "cannot be run; 1 when the machine cannot be built, 2 for a wrong command line.\n"
           "\n"
           "Examples:\n"
           "  kt3-sim run two-families -- kt3 list\n"
           "  kt3-sim tree idle ./mine; edit ./mine; kt3-sim run ./mine -- kt3 info\n";
}

} // namespace kt3::sim
