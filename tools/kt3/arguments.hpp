// SPDX-License-Identifier: MIT
#pragma once
// Commands and their arguments. Only arguments.cpp and main.cpp see the parser, because its headers hold all of its
// code, which would be compiled once more with every command.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kt3::cli {

// A command whose subcommands do the work; one of them has to be given.
CLI::App& add_family(CLI::App& app, const char* name, const char* description);

// A command that does something itself. When it was parsed, `chosen` gets its name with that of its family.
CLI::App& add_leaf(CLI::App& app, const char* name, const char* description,
                   std::function<void(const std::string& full_name)> chosen);

struct Argument {
    const char* names; // "-w,--wait"; "file" when the value stands alone
    const char* description;
    const char* type = nullptr; // of the value, on the help page
    bool required = false;
    bool may_be_empty = false; // a text
};

// Each adds an argument to a command and stores in `value` what the user gives; otherwise `value` keeps what it is.
void add_flag(CLI::App& command, const Argument& argument, bool& value);
void add_text(CLI::App& command, const Argument& argument, std::string& value);
void add_text(CLI::App& command, const Argument& argument, std::optional<std::string>& value);
void add_texts(CLI::App& command, const Argument& argument, std::vector<std::string>& values);
// One text with each use of the option, or several with commas between them.
void add_list(CLI::App& command, const Argument& argument, std::vector<std::string>& values);
void add_word(CLI::App& command, const Argument& argument, const std::vector<std::string>& words, std::string& value);

// Seconds to wait, from `least` to a day.
void add_seconds(CLI::App& command, const Argument& argument, double& value, double least = 0);
void add_seconds(CLI::App& command, const Argument& argument, std::optional<double>& value);

// A whole number in decimal digits.
struct Bounds {
    std::int64_t least;
    std::int64_t most;
};
void add_number(CLI::App& command, const Argument& argument, Bounds bounds, int& value);
void add_number(CLI::App& command, const Argument& argument, Bounds bounds, std::size_t& value);
void add_number(CLI::App& command, const Argument& argument, Bounds bounds, std::optional<std::int32_t>& value);
void add_number(CLI::App& command, const Argument& argument, Bounds bounds, std::optional<std::uint64_t>& value);

} // namespace kt3::cli
