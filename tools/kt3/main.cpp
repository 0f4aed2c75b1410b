// SPDX-License-Identifier: MIT
// kt3: parse the arguments, run one command, send its data to the output and map how it ended to the exit status.

#include "collect/worker.hpp"
#include "kt3/command_table.hpp"
#include "kt3/exit_status.hpp"
#include "kt3/nearest.hpp"
#include "kt3/peer_words.hpp"
#include "observe/interrupt.hpp"
#include "output/screen_text.hpp"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
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
    } catch (const ReaderLeft&) { // as `head` does: no cause for a message
        return ExitStatus::reader_left;
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

ExitStatus send_output(Session& session, ExitStatus status) {
    if (status == ExitStatus::reader_left) {
        return status;
    }
    try {
        finish_output(session);
        return status;
    } catch (const ReaderLeft&) {
        return ExitStatus::reader_left;
    } catch (const Failure& failure) {
        note_error(session.report, failure);
        return status == ExitStatus::ok ? failure.status : status;
    } catch (const Interrupted&) {
        return ExitStatus::interrupted;
    }
}

// With --strict a value that is absent without being the chip's fault is not passed over.
ExitStatus judge_absences(const Session& session, ExitStatus status) {
    if (!session.options.strict || session.report.absent.empty()) {
        return status;
    }
    for (const std::string& line : session.report.absent) {
        std::fprintf(stderr, "kt3: %s\n", screen_safe(line).c_str());
    }
    return status == ExitStatus::ok ? ExitStatus::incomplete : status;
}

ExitStatus run_command(const Options& options, const Chosen& chosen, const support::Fd& standard_output,
                       std::unique_ptr<WorkerProcess> ahead = {}) {
    Output output(standard_output, options.output);
    Session session{options, output};
    session.ahead = std::move(ahead);
    session.report.command = chosen.name;
    ExitStatus status = run_guarded(session, chosen.run);
    session.ahead.reset();
    session.collector.reset(); // a reader of the output that does not read keeps nothing switched on
    status = status == ExitStatus::ok ? session.reading : status;
    const ExitStatus final_status = judge_absences(session, send_output(session, status));
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

// The subcommand that was being parsed, for the hint of a usage error.
const CLI::App& deepest(const CLI::App& app) {
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? app : deepest(*parsed.front());
}

std::string full_name(const CLI::App& app) {
    const CLI::App* parent = app.get_parent();
    return (parent == nullptr ? "" : full_name(*parent) + " ") + app.get_name();
}

std::vector<std::string> names_of_commands(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> names_of_options(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

std::string list_of(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

// What was wrong, and what may have been meant or is to be chosen from.
std::string usage_message(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& at = deepest(app);
    const std::vector<std::string> left = app.remaining(true);
    const std::vector<std::string> commands = names_of_commands(at);
    if (!left.empty()) {
        const bool option = left.front().size() > 1 && left.front().front() == '-';
        const std::string meant = did_you_mean(left.front(), option ? names_of_options(at) : commands);
        const char* kind = option ? "option" : commands.empty() ? "argument" : "command";
        const std::string choices =
            option || commands.empty() || &at == &app ? "" : "; choose from " + list_of(commands);
        return fmt::format("unknown {} '{}'{}", kind, left.front(), meant.empty() ? choices : "; " + meant);
    }
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr && !commands.empty()) {
        return fmt::format("{} needs one of {}", full_name(at), list_of(commands));
    }
    return error.what();
}

// Parsing ends early for --help and for wrong arguments; nothing otherwise.
std::optional<ExitStatus> parse(CLI::App& app, std::vector<std::string> arguments, const support::Fd& standard_output) {
    const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    try {
        std::reverse(arguments.begin(), arguments.end()); // as the parser takes them
        app.parse(arguments);
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
        return usage_error(usage_message(app, error), full_name(deepest(app)), json, standard_output);
    }
}

// What the arguments allow each and not together; nothing when they fit.
std::string why_not_together(const Options& options, const Chosen& chosen) {
    if (options.csv && options.json) {
        return "--csv excludes --json";
    }
    if (options.csv && !chosen.accepts.csv) {
        return chosen.name + " has no CSV form";
    }
    if (options.json && !chosen.accepts.json) {
        return chosen.name + " has no JSON form";
    }
    if (!options.gpus.empty() && !chosen.accepts.gpu) { // given before a command that takes no adapter
        return chosen.name + " takes no --gpu";
    }
    return "";
}

// A reader takes as long to start as the command line takes to be understood, so it is started first where one is
// certainly needed.
std::unique_ptr<WorkerProcess> start_reader_ahead(const std::vector<std::string>& arguments) {
    constexpr std::string_view kReading[] = {"list", "info", "metric", "process", "segment", "alloc", "dvfs"};
    const auto given = [&](std::string_view word) {
        return std::find(arguments.begin(), arguments.end(), word) != arguments.end();
    };
    const bool reads =
        !arguments.empty() && std::find(std::begin(kReading), std::end(kReading), arguments[0]) != std::end(kReading);
    if (!reads || given("--help") || given("-h")) {
        return nullptr;
    }
    try {
        return std::make_unique<WorkerProcess>("any", given("--verbose") || given("-v"));
    } catch (const Failure&) { // is told when the command starts it
        return nullptr;
    }
}

ExitStatus run(int count, char** arguments) {
    const support::Fd standard_output = set_standard_output_aside();
    watch_for_interrupts();
    auto ahead = start_reader_ahead({arguments + 1, arguments + count});
    Options options;
    QueryArguments alone;
    Chosen chosen;
    CLI::App app("Shows and manages the graphics adapters of two chip families.", "kt3");
    add_alone(app, options, alone);
    add_all_commands(app, options, chosen);
    app.set_version_flag("-V,--version", "kt3 " KT3_TOOL_VERSION, "Print the version of kt3 and exit");
    app.require_subcommand(0, 1);
    app.footer(kExitStatusHelp);
    if (const auto ended = parse(app, in_own_words({arguments + 1, arguments + count}), standard_output)) {
        return *ended;
    }
    if (chosen.name.empty()) {
        chosen = chosen_alone(alone);
    } else if (alone.any()) { // given before a command
        return usage_error("give the options of a command after its name", "kt3 " + chosen.name, options.json,
                           standard_output);
    }
    if (const std::string why = why_not_together(options, chosen); !why.empty()) {
        return usage_error(why, "kt3 " + chosen.name, options.json, standard_output);
    }
    return run_command(options, chosen, standard_output, std::move(ahead));
}

} // namespace
} // namespace kt3::cli

int main(int count, char** arguments) {
    if (count > 1 && std::strcmp(arguments[1], kt3::collect::kWorkerOption) == 0) {
        kt3::collect::serve();
    }
    // Commands report what they meet; what is left comes before them or after, as when memory is short.
    try {
        const kt3::cli::ExitStatus status = kt3::cli::run(count, arguments);
        if (status == kt3::cli::ExitStatus::reader_left) { // end as tools do that take no precautions
            std::signal(SIGPIPE, SIG_DFL);
            std::raise(SIGPIPE);
        }
        return static_cast<int>(status);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kt3: %s\n", error.what());
    } catch (...) {
        std::fputs("kt3: unexpected end\n", stderr);
    }
    return static_cast<int>(kt3::cli::ExitStatus::failure);
}
