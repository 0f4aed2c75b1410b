// SPDX-License-Identifier: MIT
#include "cli/run_kt3.hpp"

#include <cstdlib>
#include <fcntl.h>
#include <regex>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace kt3::tests {

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

void become(const std::vector<std::string>& arguments, const Scratch& scratch, const Environment& environment) {
    ::setenv("HOME", scratch.folder.c_str(), 1);
    ::setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
    ::unsetenv("NO_COLOR");
    for (const auto& [name, value] : environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char*> pointers;
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    ::execvp(pointers[0], pointers.data());
    ::_exit(127);
}

int status_of(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Files instead of pipes, so that no reader is needed while the process runs.
Ended run_process(const std::vector<std::string>& arguments, const Scratch& scratch, const Environment& environment) {
    const std::string out = scratch.folder / "stdout";
    const std::string err = scratch.folder / "stderr";
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(::open("/dev/null", O_RDONLY), 0);
        ::dup2(::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
        ::dup2(::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
        become(arguments, scratch, environment);
    }
    const int status = status_of(child);
    return {status, file_text(out), file_text(err)};
}

std::vector<std::string> in_scene(const std::string& scene, std::vector<std::string> arguments,
                                  const Scratch& scratch) {
    arguments.insert(arguments.begin(),
                     {KT3_SIM_PROGRAM, "run", scene, "--", "env", "HOME=" + scratch.folder.string()});
    return arguments;
}

Ended run_in_scene(const std::string& scene, std::vector<std::string> arguments, const Scratch& scratch,
                   const Environment& environment) {
    return run_process(in_scene(scene, std::move(arguments), scratch), scratch, environment);
}

Ended run_kt3(const std::string& scene, std::vector<std::string> arguments, const Scratch& scratch,
              const Environment& environment) {
    arguments.insert(arguments.begin(), KT3_PROGRAM);
    return run_in_scene(scene, std::move(arguments), scratch, environment);
}

Ended run_kt3(const std::string& scene, std::vector<std::string> arguments) {
    const Scratch scratch;
    return run_kt3(scene, std::move(arguments), scratch);
}

Ended run_script(const std::string& scene, const std::string& script, const Scratch& scratch) {
    return run_in_scene(scene, {"sh", "-c", script}, scratch, kScriptNames);
}

std::string normalised(std::string text) {
    text = std::regex_replace(text, std::regex("\"(timestamp|time)\": ?\"[^\"]*\""), "\"$1\": \"TIME\"");
    text = std::regex_replace(text, std::regex("[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}"), "HH:MM:SS.mmm");
    text = std::regex_replace(text, std::regex("\"interval_s\": ?[0-9.]+"), "\"interval_s\": 0.2");
    const auto replace_all = [&](const std::string& what, const std::string& by) {
        for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
            text.replace(at, what.size(), by);
        }
    };
    replace_all(KT3_BUILD_FOLDER, "BUILD");
    replace_all(KT3_TOOL_VERSION, "VERSION");
    return text;
}

} // namespace kt3::tests
