// SPDX-License-Identifier: MIT
// kt3 metric: samples of what moves. Each adapter stays bound for the whole stream, so that rates can be formed between
// samples.

#include "output/metric.hpp"
#include "kt3/adapter_choice.hpp"
#include "kt3/arguments.hpp"
#include "kt3/clock_text.hpp"
#include "kt3/command_table.hpp"
#include "kt3/repeated.hpp"
#include "observe/interrupt.hpp"
#include "output/schema.hpp"

#include <fmt/format.h>
#include <memory>
#include <string_view>
#include <vector>

namespace kt3::cli {
namespace {

struct Arguments {
    Repetition repetition;
    bool no_rates = false;
};

struct LineCell {
    const char* heading;
    const char* key; // null for what is not a reading
    int width;
    int rank; // on a narrow screen those of the lowest rank go first
};

// clang-format off
// The line of a sample: what most look for. JSON and CSV have all of it.
constexpr LineCell kLine[] = {
    {"time",        nullptr,               12, 6},
    {"GPU",         nullptr,                3, 9},
    {"bus id",      nullptr,               12, 1},
    {"engine MHz",  "engine_mhz",          10, 8},
    {"memory MHz",  "memory_mhz",          10, 4},
    {"temp C",      "temperature_c",        6, 8},
    {"3D %",        "engine_3d_percent",    5, 8},
    {"codec %",     "video_codec_percent",  7, 3},
    {"post %",      "video_post_percent",   6, 2},
    {"frames/s",    "frames_per_s",         9, 7},
    {"interval s",  "interval_s",          10, 1},
    {"fb used MiB", "fb_used_mib",         11, 5},
    {"link",        "link_width",           5, 1},
};
constexpr int kLowestRank = 1;
constexpr int kHighestRank = 9;
// clang-format on

// The cells that fit.
std::vector<LineCell> line_cells(std::size_t width) {
    std::vector<LineCell> cells(std::begin(kLine), std::end(kLine));
    const auto length = [&] {
        std::size_t sum = 0;
        for (const LineCell& cell : cells) {
            sum += static_cast<std::size_t>(cell.width) + 2;
        }
        return sum - 2;
    };
    for (int rank = kLowestRank; width != 0 && rank < kHighestRank && length() > width; ++rank) {
        std::erase_if(cells, [&](const LineCell& cell) { return cell.rank == rank; });
    }
    return cells;
}

const Groups kGroupsShown = {Group::counted, Group::live, Group::usage, Group::page, Group::link};

Row sample_of(const Observation& look, Format format) {
    Row row;
    add_cells(row, kLiveColumns, look.moving.live, format);
    add_cells(row, kMovingColumns, look.moving, format);
    add_cells(row, kBusyColumns, look.counted.busy, format);
    add_cells(row, kFrameColumns, look.counted.frames, format);
    add_cells(row, kBandwidthColumns, look.counted.bandwidth, format);
    return row;
}

std::string heading_line(const std::vector<LineCell>& cells) {
    std::string line;
    for (const LineCell& cell : cells) {
        line += fmt::format("{}{:>{}}", line.empty() ? "" : "  ", cell.heading, cell.width);
    }
    return line;
}

std::string cell_of(const LineCell& cell, const Moment& moment, const Adapter& adapter, const Row& row) {
    if (cell.key != nullptr) {
        return cell_named(row, cell.key).value.text();
    }
    const std::string_view heading = cell.heading;
    return heading == "time" ? moment.local : heading == "GPU" ? std::to_string(adapter.slot) : bus_text(adapter.bus);
}

std::string sample_line(const std::vector<LineCell>& cells, const Moment& moment, const Adapter& adapter,
                        const Row& row, bool color) {
    std::string line;
    for (const LineCell& cell : cells) {
        const std::string text = fmt::format("{:>{}}", cell_of(cell, moment, adapter, row), cell.width);
        const Paint paint = cell.key == nullptr ? Paint::plain : paint_of(cell_named(row, cell.key));
        line += (line.empty() ? "" : "  ") + painted(text, paint, color);
    }
    return line + '\n';
}

// The readings of the line.
Row cells_shown(const Row& row) {
    Row shown;
    for (const LineCell& cell : kLine) {
        if (cell.key != nullptr) {
            shown.push_back(cell_named(row, cell.key));
        }
    }
    return shown;
}

std::string csv_lines(const Moment& moment, std::uint64_t sample, const Adapter& adapter, const Row& row,
                      bool with_heading) {
    Table table{{{"", "time"}, {"", "sample"}, {"", "bdf"}, {"", "slot"}},
                {{moment.utc, std::to_string(sample), bus_text(adapter.bus), std::to_string(adapter.slot)}}};
    for (const Cell& cell : row) {
        add_heading(table, *cell.heading);
        table.rows[0].push_back(cell.value.csv());
    }
    const std::string text = comma_separated(table);
    return with_heading ? text : text.substr(text.find('\n') + 1);
}

// What a sample consists of, beside the row of each adapter.
struct Sample {
    std::uint64_t number;
    Moment moment;
    bool first_line; // of the output
};

void add_sample(Session& session, const Sample& sample, const Adapter& adapter, const Row& row) {
    note_absences(session.report, adapter.slot, row);
    if (format_of(session) == Format::json) {
        Json object = identity_of(adapter);
        put_row(object, row);
        session.report.adapters.push_back(std::move(object));
    } else if (format_of(session) == Format::csv) {
        session.text += csv_lines(sample.moment, sample.number, adapter, row, sample.first_line);
    } else {
        const std::vector<LineCell> cells = line_cells(screen_of(session).width);
        if (sample.first_line) {
            session.text += painted(heading_line(cells), Paint::bold, color_of(session)) + '\n';
        }
        session.text += sample_line(cells, sample.moment, adapter, row, color_of(session));
        const Row shown = cells_shown(row);
        if (sample.number == 0 && nothing_read(shown)) { // once a stream
            session.text +=
                fmt::format("GPU {}: no values: {}\n", adapter.slot, reason_words(*shown.front().value.why()));
        }
    }
}

ExitStatus run_metric(Session& session, const Arguments& arguments) {
    const Repetition& repetition = arguments.repetition;
    const std::uint64_t count = repetition.once() ? 1 : repetition.count.value_or(0); // 0: until interrupted
    session.streaming = true; // a failure before the first sample is one line of JSON, too
    if (!repetition.once()) {
        session.output.follow();
        session.repeats = true;
    }
    const std::vector<const Adapter*> adapters = selected_adapters(session);
    for (std::uint64_t number = 0; count == 0 || number < count; ++number) {
        if (number > 0) {
            sleep_or_interrupt(repetition.wait.value_or(kUsualWait));
        } else if (!arguments.no_rates) {
            static_cast<void>(look_at(session, adapters, {Group::counted}));
            sleep_or_interrupt(kLookForRates);
        }
        const std::vector<Observation> looks = look_at(session, adapters, kGroupsShown);
        for (std::size_t at = 0; at < adapters.size(); ++at) {
            const Row row = sample_of(looks[at], format_of(session));
            add_sample(session, {number, this_moment(), number == 0 && at == 0}, *adapters[at], row);
        }
        session.report.members["sample"] = number;
        session.report.members["time"] = this_moment().utc;
        flush_sample(session);
    }
    return ExitStatus::ok;
}

} // namespace

std::vector<DocumentForm> describe_metric() {
    Json adapter = form_of(kAdapterColumns);
    add_columns<LiveReadings>(adapter, kLiveColumns);
    add_columns<MovingReadings>(adapter, kMovingColumns);
    add_columns<BusyReadings>(adapter, kBusyColumns);
    add_columns<FrameReadings>(adapter, kFrameColumns);
    add_columns<BandwidthReadings>(adapter, kBandwidthColumns);
    return {{{"metric"}, adapter, {{"sample", {{"type", "integer"}, {"minimum", 0}}}, {"time", {{"type", "string"}}}}}};
}

void add_metric(CLI::App& app, Options& options, Chosen& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& command = add_command(app, "metric", "Sample clocks, temperature, usage, frame rate and bandwidth",
                                    options, chosen, {.gpu = true, .csv = true},
                                    [arguments](Session& session) { return run_metric(session, *arguments); });
    add_repetition(command, arguments->repetition);
    add_flag(command, {"--no-rates", "Look once only: the first sample has no rates"}, arguments->no_rates);
}

} // namespace kt3::cli
