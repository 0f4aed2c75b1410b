// SPDX-License-Identifier: MIT
// kt3 list: one row per adapter.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/command_table.hpp"
#include "output/adapter.hpp"
#include "output/schema.hpp"

namespace kt3::cli {
namespace {

ExitStatus run_list(Session& session) {
    Table table;
    add_headings<Adapter>(table, kAdapterColumns, format_of(session));
    for (const Adapter* adapter : selected_adapters(session)) {
        session.report.adapters.push_back(identity_of(*adapter));
        const Row row = row_of(kAdapterColumns, *adapter, format_of(session));
        note_absences(session.report, adapter->slot, row);
        add_row(table, row, format_of(session));
    }
    session.text = table_text(session, table);
    note_left_out(session);
    if (machine_of(session).third_hidden) {
        note_error(session.report,
                   {ExitStatus::failure, "slot_taken",
                    "a third adapter is not shown: the GPU of another vendor stands in its slot", "", 2});
    }
    return ExitStatus::ok;
}

} // namespace

std::vector<DocumentForm> describe_list() {
    return {{{"list"}, form_of(kAdapterColumns)}};
}

void add_list(CLI::App& app, Options& options, Chosen& chosen) {
    add_command(app, "list", "List the adapters", options, chosen, {.gpu = true, .csv = true}, run_list);
}

} // namespace kt3::cli
