// kt3 list: one row per adapter.

#include "kt3/adapter_choice.hpp"
#include "kt3/command_table.hpp"
#include "output/adapter.hpp"
#include "output/reading_text.hpp"
#include "output/text_table.hpp"

#include <fmt/format.h>

namespace kt3::cli {
namespace {

const std::vector<Column> kColumns = {
    {"SLOT", "slot", Align::right}, {"BUS ID", "bdf"},   {"NAME", "name"},     {"FAMILY", "family"},
    {"VENDOR", "vendor_id"},        {"CHIP", "chip_id"}, {"NODE", "drm_card"}, {"VA", "va_driver"},
};

std::vector<std::string> screen_row(const Adapter& adapter) {
    return {std::to_string(adapter.slot),
            bus_text(adapter.bus),
            adapter.name,
            adapter.family == nullptr ? "other" : adapter.family->name,
            fmt::format("{:#06x}", adapter.vendor_id),
            fmt::format("{:#06x}", adapter.chip_id),
            fmt::format("card{}", adapter.card),
            shown_briefly(adapter.va_driver)};
}

std::vector<std::string> value_row(const Adapter& adapter) {
    return {std::to_string(adapter.slot),
            bus_text(adapter.bus),
            adapter.name,
            adapter.family == nullptr ? "other" : adapter.family->name,
            std::to_string(adapter.vendor_id),
            std::to_string(adapter.chip_id),
            std::to_string(adapter.card),
            bare(adapter.va_driver)};
}

ExitStatus run_list(Session& session) {
    const auto adapters = selected_adapters(session);
    const bool on_screen = format_of(session) == Format::text;
    Table table{kColumns, {}};
    for (const Adapter* adapter : adapters) {
        session.report.adapters.push_back(identity_of(*adapter));
        table.rows.push_back(on_screen ? screen_row(*adapter) : value_row(*adapter));
    }
    session.text = on_screen ? aligned(table, color_of(session)) : comma_separated(table);
    if (session.machine->third_hidden) {
        note_error(session.report,
                   {ExitStatus::failure, "slot_taken",
                    "a third adapter is not shown: the GPU of another vendor stands in its slot", "", 2});
    }
    return ExitStatus::ok;
}

} // namespace

void add_list(CLI::App& app, Options& options, Chosen& chosen) {
    add_command(app, "list", "List the adapters", options, chosen, {.gpu = true, .csv = true}, run_list);
}

} // namespace kt3::cli
