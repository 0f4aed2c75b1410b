// SPDX-License-Identifier: MIT
// kt3 metric: samples of what moves. One adapter stays bound for the whole stream, so that its rates can be formed
// between samples; of several, each is bound in turn.

#include "output/metric.hpp"
#include "kt3/adapter_choice.hpp"
#include "kt3/arguments.hpp"
#include "kt3/command_table.hpp"
#include "observe/adapter/binding.hpp"
#include "observe/interrupt.hpp"
#include "output/schema.hpp"

#include <fmt/format.h>
#include <memory>
#include <optional>

namespace kt3::cli {
namespace {

struct Arguments {
    std::optional<double> wait; // seconds between samples
    std::optional<std::uint64_t> count;
};

constexpr double kUsualWait = 1;

struct LineCell {
    const char* heading;
    const char* key;
    int width;
};

// clang-format off
// The line of a sample: what most look for. JSON and CSV have all of it.
constexpr LineCell kLine[] = {
    {"engine MHz",  "engine_mhz",          10},
    {"memory MHz",  "memory_mhz",          10},
    {"temp C",      "temperature_c",        6},
    {"3D %",        "engine_3d_percent",    5},
    {"codec %",     "video_codec_percent",  7},
    {"post %",      "video_post_percent",   6},
    {"frames/s",    "frames_per_s",         9},
    {"interval s",  "interval_s",          10},
    {"fb used MiB", "fb_used_mib",         11},
    {"link",        "link_width",           5},
};
// clang-format on

// An adapter of the stream: bound for one sample, or for all of them.
struct Source {
    const Adapter* adapter;
    std::unique_ptr<Binding> binding;
    std::unique_ptr<ModuleSampler> sampler;

    void bind(const Library& library, Machine& machine) {
        if (adapter->family != nullptr && !binding) {
            binding = std::make_unique<Binding>(library, machine, *adapter);
            sampler = std::make_unique<ModuleSampler>(library, *adapter);
        }
    }
    void release() {
        sampler.reset();
        binding.reset();
    }
};

MovingReadings read_moving(const Library& library, Machine& machine, const Adapter& adapter) {
    return {read_live(library, machine, adapter), read_usage(library, adapter),
            read_driver_page(library, machine, adapter), read_link_width(adapter)};
}

Row take_sample(const Library& library, Machine& machine, Source& source, bool stays_bound, Format format) {
    source.bind(library, machine);
    const MovingReadings moving = read_moving(library, machine, *source.adapter);
    const ModuleReadings counted =
        source.sampler ? source.sampler->sample() : no_module_readings(Absence::not_on_this_chip);
    if (!stays_bound) {
        source.release();
    }
    Row row;
    add_cells(row, kLiveColumns, moving.live, format);
    add_cells(row, kMovingColumns, moving, format);
    add_cells(row, kBusyColumns, counted.busy, format);
    add_cells(row, kFrameColumns, counted.frames, format);
    add_cells(row, kBandwidthColumns, counted.bandwidth, format);
    return row;
}

std::string heading_line() {
    std::string line = "GPU";
    for (const LineCell& cell : kLine) {
        line += fmt::format("  {:>{}}", cell.heading, cell.width);
    }
    return line + '\n';
}

std::string sample_line(const Adapter& adapter, const Row& row) {
    std::string line = fmt::format("{:>3}", adapter.slot);
    for (const LineCell& cell : kLine) {
        line += fmt::format("  {:>{}}", cell_named(row, cell.key).value.text(), cell.width);
    }
    return line + '\n';
}

std::string csv_lines(const Adapter& adapter, const Row& row, bool with_heading) {
    Table table{{{"", "slot"}}, {{std::to_string(adapter.slot)}}};
    for (const Cell& cell : row) {
        add_heading(table, *cell.heading);
        table.rows[0].push_back(cell.value.csv());
    }
    const std::string text = comma_separated(table);
    return with_heading ? text : text.substr(text.find('\n') + 1);
}

void add_sample(Session& session, const Adapter& adapter, const Row& row, bool first) {
    if (format_of(session) == Format::json) {
        Json object = identity_of(adapter);
        put_row(object, row);
        session.report.adapters.push_back(std::move(object));
    } else if (format_of(session) == Format::csv) {
        session.text += csv_lines(adapter, row, first);
    } else {
        session.text += (first ? heading_line() : "") + sample_line(adapter, row);
    }
}

ExitStatus run_metric(Session& session, const Arguments& arguments) {
    const std::uint64_t count = arguments.count.value_or(arguments.wait ? 0 : 1); // 0: until interrupted
    session.streaming = true; // a failure before the first sample is one line of JSON, too
    std::vector<Source> sources;
    for (const Adapter* adapter : selected_adapters(session)) {
        sources.push_back({adapter, nullptr, nullptr});
    }
    for (std::uint64_t number = 0; count == 0 || number < count; ++number) {
        if (number > 0) {
            sleep_or_interrupt(arguments.wait.value_or(kUsualWait));
        }
        for (Source& source : sources) {
            const Row row =
                take_sample(library_of(session), machine_of(session), source, sources.size() == 1, format_of(session));
            add_sample(session, *source.adapter, row, number == 0 && &source == sources.data());
        }
        session.report.members["sample"] = number;
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
    return {{{"metric"}, adapter, {{"sample", {{"type", "integer"}, {"minimum", 0}}}}}};
}

void add_metric(CLI::App& app, Options& options, Chosen& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& command = add_command(app, "metric", "Sample clocks, temperature, usage, frame rate and bandwidth",
                                    options, chosen, {.gpu = true, .csv = true},
                                    [arguments](Session& session) { return run_metric(session, *arguments); });
    add_seconds(command, {"-w,--wait", "Time between samples; without --count until interrupted", "SECONDS"},
                arguments->wait);
    add_number(command, {"-n,--count", "Number of samples", "COUNT"}, {1, 1'000'000'000'000}, arguments->count);
}

} // namespace kt3::cli
