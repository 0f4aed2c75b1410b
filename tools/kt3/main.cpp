// SPDX-License-Identifier: MIT
// kt3: parse the arguments, run one command, send its data to the output and map how it ended to the exit status.

#include "kt3/command_table.hpp"
#include "kt3/exit_status.hpp"
#include "observe/interrupt.hpp"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <fmt/format.h>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace kt3::cli {
namespace {

ExitStatus run_guarded(Session& session, const std::function<ExitStatus(Session&)>& run) {
    try {
        const ExitStatus status = run(session);
        check_interrupt();
        return status;
    } catch (const Failure& failure) {
        note_error(session.report, failure);
        return failure.status;
    } catch (const Interrupted&) {
        note_error(session.report, {ExitStatus::interrupted, "interrupted", "interrupted"});
        return ExitStatus::interrupted;
    } catch (const std::bad_alloc&) {
        note_error(session.report, {ExitStatus::failure, "memory", "out of memory"});
        return ExitStatus::failure;
    } catch (const std::logic_error& error) { // number errors of the library that no guarded() met
        note_error(session.report, {ExitStatus::failure, "parse_error",
                                    fmt::format("the driver published a malformed number ({})", error.what()), ""});
        return ExitStatus::failure;
    } catch (const std::exception& error) {
        note_error(session.report, {ExitStatus::failure, "failure", error.what()});
        return ExitStatus::failure;
    }
}

// The data comes after the command has let go of the adapter, so a reader that does not read keeps nothing switched on.
ExitStatus send_output(Session& session, ExitStatus status) {
    try {
        finish_output(session);
        return status;
    } catch (const Failure& failure) {
        note_error(session.report, failure);
        return status == ExitStatus::ok ? failure.status : status;
    } catch (const Interrupted&) {
        return ExitStatus::interrupted;
    }
}

ExitStatus run_command(const Options& options, const Chosen& chosen, const support::Fd& standard_output) {
    Output output(standard_output, options.output);
    Session session{options, output, {}, {}, {}, {}, {}};
    session.report.command = chosen.name;
    const ExitStatus status = run_guarded(session, chosen.run);
    const ExitStatus final_status = send_output(session, status);
    std::fflush(stdout);
    if (!options.verbose) { // the library prints one more line when it is closed, below
        ::dup2(support::Fd(::open("/dev/null", O_WRONLY | O_CLOEXEC)).get(), STDOUT_FILENO);
    }
    return final_status;
}

ExitStatus usage_error(const std::string& message, const std::string& help_of, bool json,
                       const support::Fd& standard_output) {
    Options options;
    options.json = json;
    const auto give_up = [&](Session&) -> ExitStatus {
        throw Failure{ExitStatus::usage, "usage", message, fmt::format("see {} --help", help_of)};
    };
    return run_command(options, {"", {}, give_up}, standard_output);
}

bool names_json(int count, char** arguments) {
    for (int at = 1; at < count; ++at) {
        if (std::strcmp(arguments[at], "--json") == 0) {
            return true;
        }
    }
    return false;
}

// The subcommand that was being parsed, for the hint of a usage error.
std::string deepest_name(const CLI::App& app) {
    const auto parsed = app.get_subcommands();
    return app.get_name() + (parsed.empty() ? "" : " " + deepest_name(*parsed.front()));
}

// Parsing ends early for --help and for wrong arguments; nothing otherwise.
std::optional<ExitStatus> parse(CLI::App& app, int count, char** arguments, const support::Fd& standard_output) {
    try {
        app.parse(count, arguments);
        return std::nullopt;
    } catch (const CLI::Success& asked) {
        std::ostringstream help;
        app.exit(asked, help, help);
        const Options options;
        return run_command(options,
                           {"",
                            {},
                            [&](Session& session) {
                                session.text = help.str();
                                return ExitStatus::ok;
                            }},
                           standard_output);
    } catch (const CLI::ParseError& error) {
        return usage_error(error.what(), deepest_name(app), names_json(count, arguments), standard_output);
    }
}

ExitStatus run(int count, char** arguments) {
    const support::Fd standard_output = set_standard_output_aside();
    watch_for_interrupts();
    Options options;
    Chosen chosen{"summary", {.gpu = true, .csv = true}, run_summary};
    CLI::App app("Shows and manages the graphics adapters of two chip families.", "kt3");
    add_shared_options(app, options, chosen.accepts);
    add_all_commands(app, options, chosen);
    app.set_version_flag("--version", "kt3 " KT3_TOOL_VERSION, "Print the version of kt3 and exit");
    app.require_subcommand(0, 1);
    app.footer(kExitStatusHelp);
    if (const auto ended = parse(app, count, arguments, standard_output)) {
        return *ended;
    }
    if (options.csv && (options.json || !chosen.accepts.csv)) {
        return usage_error(options.json ? "--csv excludes --json" : chosen.name + " has no CSV form",
                           "kt3 " + chosen.name, options.json, standard_output);
    }
    if (!options.gpu.empty() && !chosen.accepts.gpu) { // given before a command that takes no adapter
        return usage_error(chosen.name + " takes no --gpu", "kt3 " + chosen.name, options.json, standard_output);
    }
    return run_command(options, chosen, standard_output);
}

} // namespace
} // namespace kt3::cli

int main(int count, char** arguments) {
    // Commands report what they meet; what is left comes before them or after, as when memory is short.
    try {
        return static_cast<int>(kt3::cli::run(count, arguments));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kt3: %s\n", error.what());
    } catch (...) {
        std::fputs("kt3: unexpected end\n", stderr);
    }
    return static_cast<int>(kt3::cli::ExitStatus::failure);
}
