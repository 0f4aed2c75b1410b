#pragma once
// What the process tells its caller, and how a command gives up.

#include <optional>
#include <string>

namespace kt3::cli {

enum class ExitStatus : int {
    ok = 0,
    failure = 1,
    usage = 2,
    not_found = 3,
    permission = 4,
    driver = 5,
    gate = 6,
    interrupted = 130,
};

// The table printed by `kt3 --help`.
inline constexpr const char* kExitStatusHelp = "Exit status:\n"
                                               "  0    done\n"
                                               "  1    failed\n"
                                               "  2    wrong usage\n"
                                               "  3    no adapter, or no adapter fits --gpu\n"
                                               "  4    permission denied\n"
                                               "  5    driver, kernel-interface module or library missing\n"
                                               "  6    a gate was not passed: kt3 leak --gate found a leak\n"
                                               "  130  interrupted\n";

// Ends a command. Printed on standard error and listed among "errors" in JSON.
struct Failure {
    ExitStatus status = ExitStatus::failure;
    std::string code; // one word for scripts
    std::string message;
    std::string fix{};               // what the user can do about it; may be empty
    std::optional<int> adapter = {}; // the slot it concerns
};

// Ends a command after SIGINT, SIGTERM or SIGHUP.
struct Interrupted {};

} // namespace kt3::cli
