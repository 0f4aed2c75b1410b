// SPDX-License-Identifier: MIT
// kt3 segment: size and use of an adapter's memory segments.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/command_table.hpp"
#include "output/adapter.hpp"
#include "output/schema.hpp"
#include "output/segments.hpp"

#include <fmt/format.h>
#include <memory>

namespace kt3::cli {
namespace {

Table csv_table(const AdapterSegments& segments) {
    Table table;
    add_headings<AdapterSegments>(table, kSegmentsColumns, Format::csv);
    add_headings<Segment>(table, kSegmentColumns, Format::csv);
    for (const Segment& segment : segments.segments) {
        Row row = row_of(kSegmentsColumns, segments, Format::csv);
        add_cells(row, kSegmentColumns, segment, Format::csv);
        add_row(table, row, Format::csv);
    }
    return table;
}

// Bars are for those who look: a terminal, or --color always.
Table screen_table(const Session& session, const AdapterSegments& segments) {
    const bool bars = session.output.is_terminal() || session.options.color == "always";
    Table table;
    add_headings<Segment>(table, kSegmentColumns, Format::text);
    for (const Segment& segment : segments.segments) {
        Row row = row_of(kSegmentColumns, segment, Format::text);
        Cell& bar = cell_named(row, "bar");
        if (bars) {
            bar.paint = bar_paint(segment);
        } else {
            bar.text = "";
        }
        add_row(table, row, Format::text);
    }
    return table;
}

void show(Session& session, const Adapter& adapter, const AdapterSegments& read) {
    note_failures(session, read.failures);
    Json object = object_of(kSegmentsColumns, read);
    object["segments"] = array_of(kSegmentColumns, read.segments);
    session.report.members["segments"].push_back(std::move(object));
    if (format_of(session) == Format::csv) {
        show_table(session, csv_table(read), "");
        return;
    }
    show_table(session, screen_table(session, read),
               adapter_heading(session, adapter, fmt::format("  from the {}", source_words(read.source))));
    if (read.source == SegmentSource::node) {
        session.text += wrapped("rounded down to thousands of kilobytes: the node counts kilobytes of 1000 bytes",
                                screen_of(session).width, 2) +
                        '\n';
    }
}

ExitStatus run_segment(Session& session, const Repetition& repetition) {
    return repeat(session, repetition, [&] {
        session.report.members["segments"] = Json::array();
        return for_each_look(session, {Group::segments}, [&](const Adapter& adapter, const Observation& look) {
            show(session, adapter, look.segments.get());
        });
    });
}

} // namespace

std::vector<DocumentForm> describe_segment() {
    Json segments = form_of(kSegmentsColumns);
    add_member(segments, "segments", array_form(form_of(kSegmentColumns)));
    return {{{"segment"}, form_of(kAdapterColumns), {{"segments", array_form(segments)}}}};
}

void add_segment(CLI::App& app, Options& options, Chosen& chosen) {
    const auto repetition = std::make_shared<Repetition>();
    CLI::App& segment = add_command(app, "segment", "Show size and use of an adapter's memory segments", options,
                                    chosen, {.gpu = true, .csv = true},
                                    [repetition](Session& session) { return run_segment(session, *repetition); });
    add_repetition(segment, *repetition);
}

} // namespace kt3::cli
