// SPDX-License-Identifier: MIT
// kt3 alone: the machine on one screen.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/command_table.hpp"
#include "output/adapter.hpp"
#include "output/schema.hpp"

#include <fmt/format.h>

namespace kt3::cli {
namespace {

// clang-format off
// JSON has the identity and all live readings instead.
constexpr Column<Adapter> kBriefAdapter[] = {
    column<&Adapter::slot>("slot", "SLOT"),
    column<&Adapter::bus> ("bdf",  "BUS ID"),
    column<&Adapter::name>("name", "NAME"),
};

constexpr Column<LiveReadings> kBriefReadings[] = {
    column<&LiveReadings::temperature_c>("temperature_c", "TEMP",         {.unit = "C"}),
    column<&LiveReadings::engine_mhz>   ("engine_mhz",    "ENGINE CLOCK", {.unit = "MHz"}),
    column<&LiveReadings::video_mhz>    ("video_mhz",     "VIDEO CLOCK",  {.unit = "MHz"}),
    column<&LiveReadings::memory_mhz>   ("memory_mhz",    "MEMORY CLOCK", {.unit = "MHz"}),
    column<&LiveReadings::fb_size_mib>  ("fb_size_mib",   "FRAME BUFFER", {.unit = "MiB"}),
};
// clang-format on

std::string heading(std::size_t adapters) {
    return fmt::format("kt3 {}: {} graphics adapter{}\n\n", KT3_TOOL_VERSION, adapters, adapters == 1 ? "" : "s");
}

} // namespace

ExitStatus run_summary(Session& session) {
    const auto adapters = selected_adapters(session);
    const Format format = format_of(session);
    Table table;
    add_headings<Adapter>(table, kBriefAdapter, format);
    add_headings<LiveReadings>(table, kBriefReadings, format);
    for (const Adapter* adapter : adapters) {
        const LiveReadings live = read_live(library_of(session), machine_of(session), *adapter);
        Json object = identity_of(*adapter);
        put_row(object, row_of(kLiveColumns, live, Format::json));
        session.report.adapters.push_back(std::move(object));
        Row row = row_of(kBriefAdapter, *adapter, format);
        add_cells(row, kBriefReadings, live, format);
        add_row(table, row, format);
    }
    session.text = table_text(session, table);
    if (format == Format::text) {
        session.text = heading(adapters.size()) + session.text + "\nMore: kt3 info, kt3 doctor, kt3 --help\n";
    }
    return ExitStatus::ok;
}

std::vector<DocumentForm> describe_summary() {
    Json adapter = form_of(kAdapterColumns);
    add_columns<LiveReadings>(adapter, kLiveColumns);
    return {{{"summary"}, adapter}};
}

} // namespace kt3::cli
