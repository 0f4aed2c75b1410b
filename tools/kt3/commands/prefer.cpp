// SPDX-License-Identifier: MIT
// kt3 prefer: which GPU an application should run on. No adapter is bound: binding forgets the loaded preferences.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/arguments.hpp"
#include "kt3/command_table.hpp"
#include "kt3/input.hpp"
#include "observe/library/log_capture.hpp"
#include "observe/prefer/preference_text.hpp"
#include "output/row.hpp"
#include "output/schema.hpp"
#include "output/screen_text.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <memory>

namespace kt3::cli {
namespace {

constexpr const char* kFileBelowHome = "/.local/share/tqm_gfx_util.ini";

// ---- the file and the list ------------------------------------------------------------------------------------------

std::string preference_file() {
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') {
        throw Failure{ExitStatus::failure, "no_home", "HOME is not set, so there is no place for preferences",
                      "set HOME to the folder of the user"};
    }
    return std::string(home) + kFileBelowHome;
}

[[noreturn]] void file_error(const std::string& verb, const std::string& path, int error) {
    const bool denied = error == EACCES || error == EPERM || error == EROFS;
    throw Failure{denied ? ExitStatus::permission : ExitStatus::failure, "preference_file",
                  fmt::format("cannot {} {}: {}", verb, path, std::strerror(error)), ""};
}

// The library writes into a folder that exists only.
void make_folder_of(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path.substr(0, path.rfind('/')), error);
    if (error) {
        file_error("write", path, error.value());
    }
}

std::string read_file(const std::string& path) {
    FileText file = read_whole_file(path);
    if (file.error != 0 && file.error != ENOENT) {
        file_error("read", path, file.error);
    }
    return std::move(file.text);
}

std::vector<Preference> loaded_preferences(const Library& library) {
    const auto get = KT3_ENTRY(library, get_gpu_preference);
    std::int32_t count = 0;
    get(nullptr, &count);
    std::vector<_UTIL_GPU_PREFERENCE_NODE> nodes(static_cast<std::size_t>(std::max(count, 1)));
    get(nodes.data(), &count);
    nodes.resize(static_cast<std::size_t>(std::max(count, 0)));
    std::vector<Preference> preferences;
    std::transform(nodes.begin(), nodes.end(), std::back_inserter(preferences), preference_in);
    return preferences;
}

// Reading comes first in every command: the library would write back an empty list if it had not loaded the file, and
// a file that may not be read counts as empty to it.
std::vector<Preference> read_preferences(Session& session) {
    (void)read_file(preference_file());
    return loaded_preferences(library_of(session));
}

[[noreturn]] void not_saved(const std::string& path) {
    throw Failure{ExitStatus::failure, "not_saved", fmt::format("{} does not show the change", path),
                  "see whether the disk is full or another program writes the file"};
}

// The library reports a failed save in its log only: before any other line when the file could not be opened, after
// those of the entries when it could not be written.
void check_saved(const std::string& path) {
    const auto lines = take_log_lines();
    const auto refused = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.rfind("savefile_INI: can't open", 0) == 0;
    });
    if (refused == lines.end()) {
        return;
    }
    if (refused != lines.begin()) {
        not_saved(path);
    }
    const std::string folder = path.substr(0, path.rfind('/'));
    const bool folder_there = ::access(folder.c_str(), F_OK) == 0;
    const int error = ::access(path.c_str(), W_OK) == 0 ? EACCES : errno;
    file_error("write", path, folder_there && error == ENOENT ? EACCES : error);
}

// ---- output ---------------------------------------------------------------------------------------------------------

// clang-format off
// The path can be long, so it ends a row; in JSON it follows the name that is part of it.
constexpr Column<Preference> kPreferenceColumns[] = {
    column<&Preference::name>    ("name",     "NAME"),
    member<&Preference::path>    ("path"),
    column<&Preference::value>   ("value",    "VALUE"),
    column<&Preference::gpu_name>("gpu_name", "GPU"),
    column<&Preference::gpu_bus> ("gpu_bdf",  "GPU BUS ID"),
    column<&Preference::path>    ("path",     "PATH", {.forms = kText | kCsv}),
};
// clang-format on

// The entry as it was and as it is; null where there is none.
struct Change {
    const char* what;
    const Preference* before;
    const Preference* after;
};

constexpr Column<Change> kChangeColumns[] = {
    member<&Change::what>("change", {.one_of = "added changed kept removed"}),
};

void show(Session& session, const std::vector<Preference>& preferences) {
    session.report.members["preferences"] = array_of(kPreferenceColumns, preferences);
    session.text = table_text(session, table_of(kPreferenceColumns, preferences, format_of(session)));
    if (preferences.empty() && format_of(session) == Format::text) {
        session.text = "No preferences stored.\n";
    }
}

Json object_or_null(const Preference* preference) {
    return preference == nullptr ? Json(nullptr) : object_of(kPreferenceColumns, *preference);
}

std::string preference_line(const Preference& preference) {
    return screen_safe(fmt::format("{}  value {}, GPU {} at {}", preference.path, preference.value,
                                   preference.gpu_name.empty() ? "-" : preference.gpu_name,
                                   bus_text(preference.gpu_bus)));
}

std::string change_text(const Change& change) {
    const auto& [what, before, after] = change;
    std::string text = fmt::format("{} {}\n", screen_safe((after == nullptr ? before : after)->name), what);
    if (before != nullptr && (after == nullptr || *before != *after)) {
        text += "  was  " + preference_line(*before) + '\n';
    }
    if (after != nullptr) {
        text += "  now  " + preference_line(*after) + '\n';
    }
    return text;
}

void show_change(Session& session, const Change& change) {
    put_row(session.report.members, row_of(kChangeColumns, change, Format::json));
    session.report.members["before"] = object_or_null(change.before);
    session.report.members["after"] = object_or_null(change.after);
    session.text = change_text(change);
}

// ---- the commands ---------------------------------------------------------------------------------------------------

struct Arguments {
    std::string application; // name or path
    std::optional<std::int32_t> value;
    std::optional<std::string> gpu_name;
    std::optional<std::string> bus;
};

const Preference* find_named(const std::vector<Preference>& preferences, const std::string& application) {
    const std::string name = application_name(application);
    const auto found = std::find_if(preferences.begin(), preferences.end(),
                                    [&](const Preference& preference) { return preference.name == name; });
    return found == preferences.end() ? nullptr : &*found;
}

const Preference& require_named(const std::vector<Preference>& preferences, const std::string& application) {
    const Preference* found = find_named(preferences, application);
    if (found == nullptr) {
        throw Failure{ExitStatus::failure, "no_preference",
                      fmt::format("no preference stored for '{}'", application_name(application)),
                      "`kt3 prefer list` shows what is stored"};
    }
    return *found;
}

ExitStatus run_list(Session& session) {
    show(session, read_preferences(session));
    return ExitStatus::ok;
}

ExitStatus run_get(Session& session, const Arguments& arguments) {
    const auto preferences = read_preferences(session);
    show(session, {require_named(preferences, arguments.application)});
    return ExitStatus::ok;
}

[[noreturn]] void refuse(const std::string& why) {
    throw Failure{ExitStatus::usage, "not_storable", why};
}

void take_adapter(const std::vector<const Adapter*>& adapters, Preference& preference) {
    if (adapters.size() != 1) {
        refuse("--gpu must name one adapter");
    }
    // The field is shorter than a display name can be.
    preference.gpu_name = adapters[0]->name.substr(0, sizeof(_UTIL_GPU_PREFERENCE_NODE::PreferGpuName) - 1);
    preference.gpu_bus = adapters[0]->bus;
}

void apply_arguments(const Arguments& arguments, Preference& preference) {
    if (arguments.gpu_name) {
        const std::string why = arguments.gpu_name->empty() ? "" : why_no_gpu_name(*arguments.gpu_name);
        if (!why.empty()) {
            refuse(why);
        }
        preference.gpu_name = *arguments.gpu_name;
    }
    if (arguments.bus && !parse_bus_id(*arguments.bus, preference.gpu_bus)) {
        refuse(fmt::format("'{}' is no PCI bus id such as 0000:03:00.0", *arguments.bus));
    }
    if (arguments.value) {
        preference.value = *arguments.value;
    }
}

ExitStatus run_set(Session& session, const Arguments& arguments) {
    const std::string why = why_not_storable(arguments.application);
    if (!why.empty()) {
        refuse(why);
    }
    if (session.options.gpus.empty() && !arguments.gpu_name && !arguments.bus && !arguments.value) {
        refuse("nothing to set: give --gpu, --bus, --gpu-name or --value");
    }
    const std::string path = preference_file();
    const auto preferences = read_preferences(session);
    const Preference* before = find_named(preferences, arguments.application);
    Preference after = before == nullptr ? Preference{} : *before;
    after.name = application_name(arguments.application);
    after.path = arguments.application;
    if (!session.options.gpus.empty()) {
        take_adapter(selected_adapters(session), after);
    }
    apply_arguments(arguments, after);
    if (before != nullptr && *before == after) {
        show_change(session, {"kept", before, &after});
        return ExitStatus::ok;
    }
    make_folder_of(path);
    (void)take_log_lines();
    auto node = node_of(after);
    KT3_ENTRY(library_of(session), set_gpu_preference)(&node);
    check_saved(path);
    if (read_file(path).find(stored_lines(after)) == std::string::npos) {
        not_saved(path);
    }
    show_change(session, {before == nullptr ? "added" : "changed", before, &after});
    return ExitStatus::ok;
}

ExitStatus run_remove(Session& session, const Arguments& arguments) {
    const std::string path = preference_file();
    const auto preferences = read_preferences(session);
    const Preference& before = require_named(preferences, arguments.application);
    const auto same_name = std::count_if(preferences.begin(), preferences.end(),
                                         [&](const Preference& preference) { return preference.name == before.name; });
    (void)take_log_lines();
    auto node = node_of(before);
    std::memset(node.FullPath, 0, sizeof node.FullPath); // the library looks for the last part of the path
    std::memcpy(node.FullPath, node.name, sizeof node.name);
    KT3_ENTRY(library_of(session), remove_gpu_preference)(&node);
    check_saved(path);
    if (headings_in(read_file(path), before.name) >= same_name) {
        not_saved(path);
    }
    show_change(session, {"removed", &before, nullptr});
    return ExitStatus::ok;
}

using Run = ExitStatus (*)(Session&, const Arguments&);

CLI::App& add_application_command(CLI::App& prefer, const char* name, const char* description, Options& options,
                                  Chosen& chosen, Accepts accepts, const std::shared_ptr<Arguments>& arguments,
                                  Run run) {
    CLI::App& command = add_command(prefer, name, description, options, chosen, accepts,
                                    [arguments, run](Session& session) { return run(session, *arguments); });
    add_text(command,
             {.names = "application",
              .description = "Path of the program; its file name decides",
              .required = true,
              .may_be_empty = true},
             arguments->application);
    return command;
}

} // namespace

std::vector<DocumentForm> describe_prefer() {
    const Json preference = form_of(kPreferenceColumns);
    Json change = form_of(kChangeColumns)["properties"]["change"];
    return {
        {{"prefer list", "prefer get"}, nullptr, {{"preferences", array_form(preference)}}},
        {{"prefer set", "prefer remove"},
         nullptr,
         {{"change", std::move(change)}, {"before", nullable_form(preference)}, {"after", nullable_form(preference)}}}};
}

void add_prefer(CLI::App& app, Options& options, Chosen& chosen) {
    CLI::App& prefer = add_family(app, "prefer", "Choose the GPU an application runs on");
    const auto arguments = std::make_shared<Arguments>();
    add_command(prefer, "list", "List all preferences", options, chosen, {.csv = true}, run_list);
    add_application_command(prefer, "get", "Show the preference of an application", options, chosen, {.csv = true},
                            arguments, run_get);
    CLI::App& set = add_application_command(prefer, "set", "Store the preference of an application", options, chosen,
                                            {.gpu = true}, arguments, run_set);
    add_number(set, {"--value", "Preference value", "N"}, {INT32_MIN, INT32_MAX}, arguments->value);
    add_text(set,
             {.names = "--gpu-name",
              .description = "Name of the preferred GPU, for one that is not in this machine",
              .type = "NAME",
              .may_be_empty = true},
             arguments->gpu_name);
    add_text(set,
             {.names = "--bus",
              .description = "PCI bus id of the preferred GPU, hexadecimal",
              .type = "BDF",
              .may_be_empty = true},
             arguments->bus);
    add_application_command(prefer, "remove", "Forget the preference of an application", options, chosen, {}, arguments,
                            run_remove);
}

} // namespace kt3::cli
