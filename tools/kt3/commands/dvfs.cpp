// SPDX-License-Identifier: MIT
// kt3 dvfs: the driver's power-management registers, read, set, saved to a file and restored from it.

#include "kt3/adapter_choice.hpp"
#include "kt3/arguments.hpp"
#include "kt3/command_table.hpp"
#include "kt3/commands/dvfs_change.hpp"
#include "kt3/input.hpp"
#include "output/adapter.hpp"
#include "output/schema.hpp"
#include "output/screen_text.hpp"
#include "output/text_table.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>

namespace kt3::cli {
namespace {

constexpr const char* kFileFormat = "kt3 dvfs registers";
constexpr int kFileVersion = 1;
constexpr std::size_t kLabelWidth = 22;

struct Arguments {
    std::vector<std::string> assignments;
    std::string file;
    bool force = false;
    DvfsConsent consent;
};

// A register belongs to one adapter: the one of --gpu, or the only one of ours.
const Adapter& only_adapter(const std::vector<const Adapter*>& selected) {
    std::vector<const Adapter*> fitting;
    for (const Adapter* adapter : selected) {
        if (adapter->family != nullptr) {
            fitting.push_back(adapter);
        }
    }
    if (fitting.empty()) {
        throw Failure{ExitStatus::not_found, "foreign_gpu", "a GPU of another vendor has no such registers",
                      "kt3 list shows the adapters"};
    }
    if (fitting.size() > 1) {
        throw Failure{ExitStatus::usage, "several_adapters", "choose one adapter with --gpu", "see kt3 list"};
    }
    return *fitting.front();
}

std::string shown_register(const DvfsRegister& row, const Reading<std::int64_t>& reading) {
    if (!reading.present()) {
        return shown(reading);
    }
    return dvfs_text(row, reading.value()) + (*row.unit == '\0' ? "" : " ") + row.unit;
}

std::string page_of(const Adapter& adapter, const DvfsState& state, const Screen& screen) {
    std::string text =
        painted(fmt::format("GPU {}  {}", adapter.slot, screen_safe(adapter.name)), Paint::bold, screen.color);
    text += '\n';
    for (const DvfsRegister& row : dvfs_registers()) {
        text += fact_list({{row.name, shown_register(row, state.reading(row))}}, 2, kLabelWidth, screen.width);
    }
    return text;
}

ExitStatus run_get(Session& session) {
    const std::vector<const Adapter*> adapters = selected_adapters(session);
    const std::vector<Observation> looks = look_at(session, adapters, {Group::dvfs});
    ExitStatus status = ExitStatus::ok;
    for (std::size_t at = 0; at < adapters.size(); ++at) {
        const Adapter& adapter = *adapters[at];
        const DvfsState& state = looks[at].dvfs.value;
        if (const auto& failure = looks[at].dvfs.failure; failure && adapter.family != nullptr) {
            note_failures(session, {*failure});
            status = status == ExitStatus::ok ? failure->status : status;
            continue;
        }
        Json object = identity_of(adapter);
        for (const DvfsRegister& row : dvfs_registers()) {
            put_reading(object["registers"], row.name, state.reading(row));
        }
        session.report.adapters.push_back(std::move(object));
        session.text += (session.text.empty() ? "" : "\n") + page_of(adapter, state, screen_of(session));
    }
    return status;
}

[[noreturn]] void refuse(const std::string& why) {
    throw Failure{ExitStatus::usage, "bad_value", why, "`kt3 dvfs get` shows names and values"};
}

const DvfsRegister& settable_register(const std::string& name) {
    const DvfsRegister* row = find_dvfs_register(name);
    if (row == nullptr) {
        refuse(fmt::format("there is no register '{}'", name));
    }
    if (!row->settable()) {
        refuse(fmt::format("the driver only reports {}", name));
    }
    return *row;
}

DvfsWish parse_assignment(const std::string& text, bool forced) {
    const auto sign = text.find('=');
    if (sign == std::string::npos) {
        refuse(fmt::format("'{}': expected NAME=VALUE", text));
    }
    const DvfsRegister& row = settable_register(text.substr(0, sign));
    return {&row, parse_dvfs_value(row, text.substr(sign + 1), forced)};
}

ExitStatus run_set(Session& session, const Arguments& arguments) {
    std::vector<DvfsWish> wishes;
    for (const std::string& text : arguments.assignments) {
        const DvfsWish wanted = parse_assignment(text, arguments.force);
        const bool twice =
            std::any_of(wishes.begin(), wishes.end(), [&](const DvfsWish& other) { return other.row == wanted.row; });
        if (twice) {
            refuse(fmt::format("{} is given twice", wanted.row->name));
        }
        wishes.push_back(wanted);
    }
    return change_dvfs(session, only_adapter(selected_adapters(session)), wishes, arguments.consent);
}

// Registers that cannot be read are not in the file, and restoring it leaves them alone.
ExitStatus run_save(Session& session, const Arguments& arguments) {
    const Adapter& adapter = only_adapter(selected_adapters(session));
    const Observation look = std::move(look_at(session, {&adapter}, {Group::dvfs}).front());
    const DvfsState& state = look.dvfs.get();
    Json registers = Json::object();
    Absence why = Absence::driver;
    for (const DvfsRegister& row : dvfs_registers()) {
        if (row.settable() && state.reading(row).present()) {
            registers[row.name] = state.reading(row).value();
        } else if (row.settable()) {
            why = state.reading(row).absence();
        }
    }
    if (registers.empty()) {
        throw Failure{why == Absence::permission ? ExitStatus::permission : ExitStatus::driver, reason_code(why),
                      fmt::format("no register can be read: {}; nothing was saved", reason_words(why))};
    }
    const Json file = {
        {"format", kFileFormat}, {"version", kFileVersion}, {"chip_id", adapter.chip_id}, {"registers", registers}};
    Output output(session.output.standard_output(), arguments.file);
    output.write(file.dump(2) + '\n');
    output.finish();
    session.text = fmt::format("{} registers saved to {}\n", registers.size(), screen_safe(arguments.file));
    Json object = identity_of(adapter);
    object["saved"] = registers.size();
    session.report.adapters.push_back(std::move(object));
    return ExitStatus::ok;
}

[[noreturn]] void bad_file(const std::string& file, const std::string& why) {
    throw Failure{ExitStatus::failure, "bad_file", fmt::format("{}: {}", screen_safe(file), why),
                  "`kt3 dvfs save` writes such files"};
}

Json read_saved(const std::string& name) {
    Json file = Json::parse(text_of_file(name), nullptr, false);
    if (!file.is_object() || file.value("format", Json()) != kFileFormat || !file.contains("registers") ||
        !file["registers"].is_object()) {
        bad_file(name, "no saved registers");
    }
    if (file.value("version", Json()) != kFileVersion) {
        bad_file(name, fmt::format("not version {} of the format", kFileVersion));
    }
    return file;
}

ExitStatus run_restore(Session& session, const Arguments& arguments) {
    const Json file = read_saved(arguments.file);
    const Adapter& adapter = only_adapter(selected_adapters(session));
    if (!arguments.force && file.value("chip_id", Json()) != adapter.chip_id) {
        throw Failure{
            ExitStatus::failure, "other_chip",
            fmt::format("{} was saved from another chip than {:#06x}", screen_safe(arguments.file), adapter.chip_id),
            "--force restores it nevertheless"};
    }
    std::vector<DvfsWish> wishes;
    for (const auto& [name, value] : file["registers"].items()) {
        const bool huge = value.is_number_unsigned() && value.get<std::uint64_t>() > UINT32_MAX;
        if (!value.is_number_integer() || huge) {
            bad_file(arguments.file, fmt::format("{} is not a whole number of 32 bits", screen_safe(name)));
        }
        const DvfsRegister& row = settable_register(name);
        wishes.push_back({&row, checked_dvfs_value(row, value.get<std::int64_t>(), arguments.force)});
    }
    return change_dvfs(session, adapter, wishes, arguments.consent);
}

using Run = ExitStatus (*)(Session&, const Arguments&);

void add_consent(CLI::App& command, const std::shared_ptr<Arguments>& arguments) {
    add_flag(command, {"-y,--yes", "Do not ask"}, arguments->consent.yes);
    add_flag(command, {"--dry-run", "Show node and command, send nothing"}, arguments->consent.dry_run);
}

} // namespace

std::vector<DocumentForm> describe_dvfs() {
    Json read = form_of(kAdapterColumns);
    for (const DvfsRegister& row : dvfs_registers()) {
        add_heading(read, {row.name, "", TypeOf<Reading<std::int64_t>>::type, {.group = "registers"}});
    }
    Json saved = form_of(kAdapterColumns);
    add_member(saved, "saved", {{"type", "integer"}, {"minimum", 1}});
    return {{{"dvfs get"}, read}, {{"dvfs save"}, saved}, {{"dvfs set", "dvfs restore"}, changed_adapter_form()}};
}

void add_dvfs(CLI::App& app, Options& options, Chosen& chosen) {
    CLI::App& dvfs = add_family(app, "dvfs", "Read and set the power-management registers");
    const auto arguments = std::make_shared<Arguments>();
    const auto add = [&](const char* name, const char* description, Run run) -> CLI::App& {
        return add_command(dvfs, name, description, options, chosen, {.gpu = true},
                           [arguments, run](Session& session) { return run(session, *arguments); });
    };
    add_command(dvfs, "get", "Show the registers", options, chosen, {.gpu = true}, run_get);
    CLI::App& set = add("set", "Set registers", run_set);
    add_texts(set,
              {.names = "assignments",
               .description = "NAME=VALUE, decimal or 0x hexadecimal",
               .required = true,
               .may_be_empty = true},
              arguments->assignments);
    add_flag(set, {"--force", "Also a clock or a voltage that no chip works with"}, arguments->force);
    add_consent(set, arguments);
    CLI::App& save = add("save", "Save the registers to a file", run_save);
    add_text(save, {.names = "file", .description = "File to write", .required = true}, arguments->file);
    CLI::App& restore = add("restore", "Set the registers as saved in a file", run_restore);
    add_text(restore, {.names = "file", .description = "File to read", .required = true, .may_be_empty = true},
             arguments->file);
    add_flag(
        restore,
        {"--force", "Also when it was saved from another chip, or holds a clock or voltage that no chip works with"},
        arguments->force);
    add_consent(restore, arguments);
}

} // namespace kt3::cli
