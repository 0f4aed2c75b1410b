// SPDX-License-Identifier: MIT
#pragma once
// kt3 as users run it: a process of its own, on a simulated machine, with its two output channels kept apart.

#include "cli/scratch.hpp"

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kt3::tests {

struct Ended {
    int status = -1; // 128 + the signal when one ended it
    std::string out;
    std::string err;
};

std::vector<std::string> lines_of(const std::string& text);

using Environment = std::map<std::string, std::string>;

// What a child does once its descriptors stand: it becomes the program, with the scratch folder as HOME.
[[noreturn]] void become(const std::vector<std::string>& arguments, const Scratch& scratch,
                         const Environment& environment);

// Waits for a child; 128 + the signal when one ended it.
int status_of(pid_t child);

Ended run_process(const std::vector<std::string>& arguments, const Scratch& scratch,
                  const Environment& environment = {});

// The command line that runs a program in a scene. The simulated machine brings a home of its own, which ends with the
// run, so HOME is set once more.
std::vector<std::string> in_scene(const std::string& scene, std::vector<std::string> arguments, const Scratch& scratch);

Ended run_in_scene(const std::string& scene, std::vector<std::string> arguments, const Scratch& scratch,
                   const Environment& environment = {});

Ended run_kt3(const std::string& scene, std::vector<std::string> arguments, const Scratch& scratch,
              const Environment& environment = {});
Ended run_kt3(const std::string& scene, std::vector<std::string> arguments);

// What scripts find the programs by.
inline const Environment kScriptNames = {{"KT3", KT3_PROGRAM}, {"KT3_SIM", KT3_SIM_PROGRAM}};

// A shell script with $KT3 and $KT3_SIM set.
Ended run_script(const std::string& scene, const std::string& script, const Scratch& scratch);

// What differs from run to run or from build to build, replaced.
std::string normalised(std::string text);

} // namespace kt3::tests
