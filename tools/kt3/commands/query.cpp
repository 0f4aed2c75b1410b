// SPDX-License-Identifier: MIT
// kt3 --query: named values of each adapter as comma-separated lines.

#include "kt3/adapter_choice.hpp"
#include "kt3/arguments.hpp"
#include "kt3/command_table.hpp"
#include "kt3/fields.hpp"
#include "kt3/nearest.hpp"
#include "kt3/repeated.hpp"
#include "observe/interrupt.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>

namespace kt3::cli {
namespace {

constexpr Accepts kAloneAccepts{.gpu = true, .csv = true};

std::vector<std::string> names_of_fields() {
    std::vector<std::string> names;
    for (const Field& field : all_fields()) {
        names.push_back(field.name);
    }
    return names;
}

// Throws Failure for a name that is none.
std::vector<const Field*> fields_named(std::string_view names) {
    std::vector<const Field*> fields;
    while (!names.empty()) {
        const std::size_t end = std::min(names.find(','), names.size());
        const std::string_view name = names.substr(0, end);
        const Field* field = find_field(name);
        if (field == nullptr) {
            const std::string meant = did_you_mean(name, names_of_fields());
            throw Failure{ExitStatus::usage, "usage",
                          fmt::format("no field '{}'{}{}", name, meant.empty() ? "" : "; ", meant),
                          "kt3 --list-fields shows all"};
        }
        fields.push_back(field);
        names.remove_prefix(std::min(end + 1, names.size()));
    }
    return fields;
}

std::string cell_of(const Cell& cell, bool units) {
    if (!units) {
        return cell.value.csv();
    }
    const char* unit = cell.heading->look.unit;
    return cell.value.why() ? fmt::format("[{}]", reason_code(*cell.value.why()))
                            : cell.value.csv() + (*unit == '\0' ? "" : " ") + unit;
}

// The cells of the fields in their order; what is read together is read once.
std::vector<std::string> cells_of(Report& report, QueriedAdapter& adapter, const std::vector<const Field*>& fields,
                                  bool units) {
    Row row;
    std::vector<const FieldGroup*> read;
    std::vector<std::string> cells;
    for (const Field* field : fields) {
        if (std::find(read.begin(), read.end(), field->group) == read.end()) {
            field->group->read(row, adapter);
            read.push_back(field->group);
        }
        const auto cell = std::find_if(row.begin(), row.end(),
                                       [&](const Cell& candidate) { return candidate.heading == field->heading; });
        cells.push_back(cell_of(*cell, units));
        note_absences(report, adapter.adapter.slot, {*cell});
    }
    return cells;
}

ExitStatus list_fields(Session& session) {
    Table table{{{"FIELD", "field"}, {"UNIT", "unit"}, {"WHAT", "what"}}, {}};
    for (const Field& field : all_fields()) {
        table.rows.push_back({field.name, field.heading->look.unit, field.heading->text});
    }
    session.text = aligned(table, screen_of(session));
    return ExitStatus::ok;
}

} // namespace

ExitStatus run_query(Session& session, const QueryArguments& arguments) {
    if (arguments.list) {
        return list_fields(session);
    }
    const std::vector<const Field*> fields = fields_named(arguments.fields);
    const auto any = [&](bool FieldGroup::*what) {
        return std::any_of(fields.begin(), fields.end(), [&](const Field* field) { return field->group->*what; });
    };
    Table table;
    for (const Field* field : fields) {
        table.columns.push_back({"", field->name});
    }
    std::vector<std::unique_ptr<QueriedAdapter>> adapters;
    for (const Adapter* adapter : selected_adapters(session)) {
        adapters.push_back(std::make_unique<QueriedAdapter>(library_of(session), machine_of(session), *adapter,
                                                            any(&FieldGroup::needs_binding)));
    }
    bool first = true;
    return repeat(session, arguments.repetition, [&] {
        if (first && any(&FieldGroup::moves)) {
            for (auto& adapter : adapters) {
                static_cast<void>(adapter->sample());
            }
            sleep_or_interrupt(kLookForRates);
        }
        table.rows.clear();
        for (auto& adapter : adapters) {
            table.rows.push_back(cells_of(session.report, *adapter, fields, !arguments.nounits));
        }
        const std::string text = comma_separated(table);
        const bool heading = first && !arguments.noheader;
        session.text = heading ? text : text.substr(text.find('\n') + 1);
        first = false;
        return ExitStatus::ok;
    });
}

void add_alone(CLI::App& app, Options& options, QueryArguments& arguments) {
    add_shared_options(app, options, kAloneAccepts);
    add_repetition(app, arguments.repetition);
    add_text(app, {"--query", "Print the named values of each adapter instead", "FIELD,..."}, arguments.fields);
    add_flag(app, {"--list-fields", "List what can be named"}, arguments.list);
    add_flag(app, {"--noheader", "With --query: leave the heading line out"}, arguments.noheader);
    add_flag(app, {"--nounits", "With --query: leave the units out; what is absent is empty"}, arguments.nounits);
}

Chosen chosen_alone(const QueryArguments& arguments) {
    if (arguments.list || !arguments.fields.empty()) {
        return {"query", {.gpu = true, .csv = true, .json = false}, [&arguments](Session& session) {
                    return run_query(session, arguments);
                }};
    }
    return {"summary", kAloneAccepts, [&arguments](Session& session) {
                if (arguments.noheader || arguments.nounits) {
                    throw Failure{ExitStatus::usage, "usage", "--noheader and --nounits belong to --query",
                                  "see kt3 --help"};
                }
                return run_summary(session, arguments.repetition);
            }};
}

} // namespace kt3::cli
