// SPDX-License-Identifier: MIT
#pragma once
// What the process tells its caller.

namespace kt3::cli {

// The table printed by `kt3 --help`; the numbers are those of ExitStatus.
inline constexpr const char* kExitStatusHelp =
    "Exit status:\n"
    "  0    done\n"
    "  1    failed\n"
    "  2    wrong usage\n"
    "  3    no adapter, or no adapter fits --gpu\n"
    "  4    permission denied\n"
    "  5    driver, kernel-interface module or library missing or not answering\n"
    "  6    a gate was not passed: kt3 leak --gate found a leak, or\n"
    "       kt3 process --orphans --gate memory of ended processes\n"
    "  7    a value is absent, and --strict was given\n"
    "  130  interrupted\n";

} // namespace kt3::cli
