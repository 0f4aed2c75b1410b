// SPDX-License-Identifier: MIT
#include "kt3/arguments.hpp"

#include "kt3/option_checks.hpp"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <utility>

namespace kt3::cli {
namespace {

template<typename Value>
CLI::Option& added(CLI::App& command, const Argument& argument, Value& value) {
    CLI::Option& option = *command.add_option(argument.names, value, argument.description);
    option.required(argument.required);
    if (argument.type != nullptr) {
        option.type_name(argument.type);
    }
    return option;
}

template<typename Text>
void add_any_text(CLI::App& command, const Argument& argument, Text& value) {
    CLI::Option& option = added(command, argument, value);
    if (!argument.may_be_empty) {
        option.check(not_empty());
    }
}

template<typename Number>
void add_any_number(CLI::App& command, const Argument& argument, Bounds bounds, Number& value) {
    added(command, argument, value).transform(whole_number(bounds.least, bounds.most));
}

} // namespace

CLI::App& add_family(CLI::App& app, const char* name, const char* description) {
    CLI::App& family = *app.add_subcommand(name, description);
    family.require_subcommand(1);
    return family;
}

CLI::App& add_leaf(CLI::App& app, const char* name, const char* description,
                   std::function<void(const std::string& full_name)> chosen) {
    CLI::App& command = *app.add_subcommand(name, description);
    const std::string family = app.get_parent() == nullptr ? "" : app.get_name() + " ";
    command.final_callback([full_name = family + name, chosen = std::move(chosen)] { chosen(full_name); });
    return command;
}

void add_flag(CLI::App& command, const Argument& argument, bool& value) {
    command.add_flag(argument.names, value, argument.description);
}

void add_text(CLI::App& command, const Argument& argument, std::string& value) {
    add_any_text(command, argument, value);
}

void add_text(CLI::App& command, const Argument& argument, std::optional<std::string>& value) {
    add_any_text(command, argument, value);
}

void add_texts(CLI::App& command, const Argument& argument, std::vector<std::string>& values) {
    add_any_text(command, argument, values);
}

void add_list(CLI::App& command, const Argument& argument, std::vector<std::string>& values) {
    added(command, argument, values).delimiter(',')->allow_extra_args(false)->check(not_empty());
}

void add_word(CLI::App& command, const Argument& argument, const std::vector<std::string>& words, std::string& value) {
    added(command, argument, value).check(CLI::IsMember(words));
}

void add_seconds(CLI::App& command, const Argument& argument, double& value, double least) {
    added(command, argument, value).check(seconds_to_wait(least));
}

void add_seconds(CLI::App& command, const Argument& argument, std::optional<double>& value) {
    added(command, argument, value).check(seconds_to_wait());
}

void add_number(CLI::App& command, const Argument& argument, Bounds bounds, int& value) {
    add_any_number(command, argument, bounds, value);
}

void add_number(CLI::App& command, const Argument& argument, Bounds bounds, std::size_t& value) {
    add_any_number(command, argument, bounds, value);
}

void add_number(CLI::App& command, const Argument& argument, Bounds bounds, std::optional<std::int32_t>& value) {
    add_any_number(command, argument, bounds, value);
}

void add_number(CLI::App& command, const Argument& argument, Bounds bounds, std::optional<std::uint64_t>& value) {
    add_any_number(command, argument, bounds, value);
}

} // namespace kt3::cli
