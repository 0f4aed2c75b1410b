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
#include <set>

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

// The cells of the fields in their order.
std::vector<std::string> cells_of(Report& report, const Adapter& adapter, const Observation& look,
                                  const std::vector<const Field*>& fields, bool units) {
    Row row;
    std::vector<const FieldGroup*> added;
    std::vector<std::string> cells;
    for (const Field* field : fields) {
        if (std::find(added.begin(), added.end(), field->group) == added.end()) {
            field->group->add(row, adapter, look);
            added.push_back(field->group);
        }
        const auto cell = std::find_if(row.begin(), row.end(),
                                       [&](const Cell& candidate) { return candidate.heading == field->heading; });
        cells.push_back(cell_of(*cell, units));
        note_absences(report, adapter.slot, {*cell});
    }
    return cells;
}

// All that the fields need, once.
Groups groups_of(const std::vector<const Field*>& fields) {
    std::set<Group> groups;
    for (const Field* field : fields) {
        groups.insert(field->group->groups.begin(), field->group->groups.end());
    }
    return {groups.begin(), groups.end()};
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
    const bool moves =
        std::any_of(fields.begin(), fields.end(), [](const Field* field) { return field->group->moves; });
    Table table;
    for (const Field* field : fields) {
        table.columns.push_back({"", field->name});
    }
    const std::vector<const Adapter*> adapters = selected_adapters(session);
    bool first = true;
    return repeat(session, arguments.repetition, [&] {
        if (first && moves) {
            static_cast<void>(look_at(session, adapters, {Group::counted}));
            sleep_or_interrupt(kLookForRates);
        }
        table.rows.clear();
        const std::vector<Observation> looks = look_at(session, adapters, groups_of(fields));
        for (std::size_t at = 0; at < adapters.size(); ++at) {
            table.rows.push_back(cells_of(session.report, *adapters[at], looks[at], fields, !arguments.nounits));
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
