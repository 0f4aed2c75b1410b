// kt3 alone: the machine on one screen.

#include "kt3/adapter_choice.hpp"
#include "kt3/command_table.hpp"
#include "observe/adapter/adapter_facts.hpp"
#include "output/adapter.hpp"
#include "output/reading_text.hpp"
#include "output/text_table.hpp"

#include <fmt/format.h>

namespace kt3::cli {
namespace {

struct SummaryColumn {
    Column column;
    const char* fact;
};

// clang-format off
const SummaryColumn kFacts[] = {
    {{"TEMP",         "temperature_c", Align::right}, "temperature_c"},
    {{"ENGINE CLOCK", "engine_mhz",    Align::right}, "engine_mhz"},
    {{"VIDEO CLOCK",  "video_mhz",     Align::right}, "video_mhz"},
    {{"MEMORY CLOCK", "memory_mhz",    Align::right}, "memory_mhz"},
    {{"FRAME BUFFER", "fb_size_mib",   Align::right}, "fb_size_mib"},
};
// clang-format on

Table empty_table() {
    Table table{{{"SLOT", "slot", Align::right}, {"BUS ID", "bdf"}, {"NAME", "name"}}, {}};
    for (const SummaryColumn& row : kFacts) {
        table.columns.push_back(row.column);
    }
    return table;
}

std::vector<std::string> row_of(const Adapter& adapter, const std::vector<NamedFact>& facts, bool on_screen) {
    std::vector<std::string> cells = {std::to_string(adapter.slot), bus_text(adapter.bus), adapter.name};
    for (const SummaryColumn& row : kFacts) {
        const NamedFact& fact = fact_named(facts, row.fact);
        cells.push_back(on_screen ? shown_briefly(fact.reading, fact.unit) : bare(fact.reading));
    }
    return cells;
}

std::string heading(std::size_t adapters) {
    return fmt::format("kt3 {}: {} graphics adapter{}\n\n", KT3_TOOL_VERSION, adapters, adapters == 1 ? "" : "s");
}

} // namespace

ExitStatus run_summary(Session& session) {
    const auto adapters = selected_adapters(session);
    const bool on_screen = format_of(session) == Format::text;
    Table table = empty_table();
    for (const Adapter* adapter : adapters) {
        const auto facts = read_live_facts(library_of(session), machine_of(session), *adapter);
        Json object = identity_of(*adapter);
        put_facts(object, facts);
        session.report.adapters.push_back(std::move(object));
        table.rows.push_back(row_of(*adapter, facts, on_screen));
    }
    session.text = on_screen ? heading(adapters.size()) + aligned(table, color_of(session)) +
                                   "\nMore: kt3 info, kt3 doctor, kt3 --help\n"
                             : comma_separated(table);
    return ExitStatus::ok;
}

} // namespace kt3::cli
