// SPDX-License-Identifier: MIT
// kt3-sim: runs programs on a simulated machine.

#include "driver_writes.hpp"
#include "failing_nodes.hpp"
#include "runner/options.hpp"
#include "runner/run.hpp"
#include "scenes/scenes.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>

namespace {

using namespace kt3::sim;

constexpr int kUsageError = 2;

int print(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

int report_usage(const std::string& error) {
    std::fprintf(stderr, "kt3-sim: %s\nTry 'kt3-sim --help'.\n", error.c_str());
    return kUsageError;
}

int list_scenes() {
    for (const Scene& scene : scenes()) {
        std::printf("%-20.*s%.*s\n", static_cast<int>(scene.name.size()), scene.name.data(),
                    static_cast<int>(scene.description.size()), scene.description.data());
    }
    return 0;
}

int report_unknown_scene(const std::string& name) {
    std::string valid;
    for (const Scene& scene : scenes()) {
        valid.append(valid.empty() ? "" : ", ").append(scene.name);
    }
    return report_usage("unknown scene '" + name + "'; the scenes are " + valid);
}

int write_tree(const Scene& scene, const std::string& folder) {
    std::filesystem::create_directories(folder);
    if (!std::filesystem::is_empty(folder)) {
        throw std::runtime_error("'" + folder + "' is not empty");
    }
    Machine machine(std::filesystem::canonical(folder));
    build_scene(scene, machine);
    return 0;
}

int run_scene(const Scene& scene, const std::vector<std::string>& command) {
    return run_machine(
        [&](const std::filesystem::path& folder) {
            Machine machine(folder);
            build_scene(scene, machine);
        },
        command);
}

// As std::filesystem::copy with links kept, which gives up at a FIFO: one of those makes a node that never answers.
void copy_machine(const std::filesystem::path& from, const std::filesystem::path& to) {
    namespace fs = std::filesystem;
    for (auto entry = fs::recursive_directory_iterator(from); entry != fs::recursive_directory_iterator(); ++entry) {
        const fs::path target = to / entry->path().lexically_relative(from);
        if (entry->is_symlink()) {
            fs::copy_symlink(entry->path(), target);
        } else if (entry->is_directory()) {
            fs::create_directory(target, entry->path());
        } else if (!entry->is_fifo()) {
            fs::copy_file(entry->path(), target);
            fs::last_write_time(target, entry->last_write_time()); // says when a device was opened
        } else if (::mkfifo(target.c_str(), 0666) != 0) {
            throw fs::filesystem_error("cannot make a FIFO", target, std::error_code(errno, std::generic_category()));
        }
    }
    take_up_failing_nodes(to);
    take_up_moving_numbers(to);
}

// Runs on a copy, so that what the command changes does not meet the next run.
int run_folder(const std::filesystem::path& written, const std::vector<std::string>& command) {
    if (!std::filesystem::is_directory(written / "sys")) {
        throw std::runtime_error("'" + written.string() + "' does not hold a machine: there is no sys below it");
    }
    return run_machine([&](const std::filesystem::path& folder) { copy_machine(written, folder); }, command);
}

bool is_folder(const std::string& name) {
    return name.find('/') != std::string::npos;
}

// One line per write: node, text, and whether the driver could make something of it.
int print_log() {
    const char* root = std::getenv("KT3_SIM_ROOT");
    if (root == nullptr) {
        return report_usage("'log' works inside a run only");
    }
    settle_driver_writes(root);
    for (const DriverWrite& write : driver_writes(root)) {
        std::printf("%s\t\"%s\"%s\n", write.path.c_str(), escaped(write.text).c_str(),
                    write.refused ? "\trefused" : "");
    }
    return 0;
}

int perform(const Options& options) {
    const Scene* scene = find_scene(options.scene);
    switch (options.action) {
    case Action::help:
        return print(help_text());
    case Action::version:
        return print("kt3-sim " KT3SIM_VERSION "\n");
    case Action::scenes:
        return list_scenes();
    case Action::log:
        return print_log();
    case Action::run:
        if (is_folder(options.scene)) {
            return run_folder(options.scene, options.command);
        }
        return scene == nullptr ? report_unknown_scene(options.scene) : run_scene(*scene, options.command);
    case Action::tree:
        return scene == nullptr ? report_unknown_scene(options.scene) : write_tree(*scene, options.folder);
    case Action::usage_error:
        break;
    }
    return report_usage(options.error);
}

} // namespace

int main(int count, char** arguments) {
    try {
        return perform(parse_options({arguments + 1, arguments + count}));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kt3-sim: %s\n", error.what());
        return 1;
    }
}
