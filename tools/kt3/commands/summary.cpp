// SPDX-License-Identifier: MIT
// kt3 alone: the machine on one screen.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/command_table.hpp"
#include "kt3/fields.hpp"
#include "observe/interrupt.hpp"
#include "observe/memory/holders.hpp"
#include "observe/owner/ownership.hpp"
#include "output/memory.hpp"
#include "output/metric.hpp"
#include "output/schema.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

constexpr std::size_t kProcesses = 5; // the largest

// An adapter at one moment.
struct Brief {
    const Adapter* adapter;
    MovingReadings moving;
    FrameReadings frames;
};

Reading<std::int64_t> temperature_of(const Brief& brief) {
    return brief.moving.live.temperature_c;
}
Reading<std::int64_t> engine_clock_of(const Brief& brief) {
    return brief.moving.live.engine_mhz;
}
Reading<std::int64_t> memory_clock_of(const Brief& brief) {
    return brief.moving.live.memory_mhz;
}
Reading<std::int64_t> usage_of(const Brief& brief) {
    return brief.moving.usage.engine_3d_percent;
}
Reading<std::int64_t> size_of(const Brief& brief) {
    return brief.moving.live.fb_size_mib;
}
Reading<std::int64_t> used_of(const Brief& brief) {
    return used_memory(brief.moving);
}
Reading<double> frames_of(const Brief& brief) {
    return brief.frames.frames_per_s;
}
std::string frames_text(const Brief& brief) {
    return brief.frames.frames_per_s.present() ? fmt::format("{:.1f}", brief.frames.frames_per_s.value()) : "-";
}
std::string memory_text(const Brief& brief) {
    const auto text = [](const Reading<std::int64_t>& mib) {
        return mib.present() ? bytes_text(static_cast<double>(mib.value()) * 1024 * 1024) : "-";
    };
    return size_of(brief).present() || used_of(brief).present() ? text(used_of(brief)) + " of " + text(size_of(brief))
                                                                : "-";
}
int slot_of(const Brief& brief) {
    return brief.adapter->slot;
}
BusId bus_of(const Brief& brief) {
    return brief.adapter->bus;
}
std::string name_of(const Brief& brief) {
    return brief.adapter->name;
}

// clang-format off
// JSON has the identity and all that moves instead.
constexpr Column<Brief> kBriefColumns[] = {
    column<slot_of>               ("slot",              "GPU"),
    column<bus_of>                ("bdf",               "BUS ID",   {.forms = kCsv}),
    column<name_of>               ("name",              "NAME"),
    column<temperature_of>        ("temperature_c",     "TEMP",     {.unit = "C", .hot = kHotDegrees}),
    column<usage_of>              ("engine_3d_percent", "3D",       {.unit = "%"}),
    column<engine_clock_of>       ("engine_mhz",        "ENGINE",   {.unit = "MHz"}),
    column<memory_clock_of>       ("memory_mhz",        "MEM CLK",  {.unit = "MHz", .forms = kCsv}),
    column<used_of, memory_text>  ("fb_used_mib",       "MEMORY"),
    column<size_of>               ("fb_size_mib",       "",         {.forms = kCsv}),
    column<frames_of, frames_text>("frames_per_s",      "FRAMES/S"),
};

// A process on screen; the adapter's processes in JSON have more to say.
struct Large {
    int slot = 0;
    Holder holder;
};
std::optional<std::int32_t> pid_of(const Large& large) {
    return large.holder.owner.pid;
}
Bytes total_of(const Large& large) {
    return {large.holder.total()};
}
std::string process_of(const Large& large) {
    return process_text(large.holder.owner);
}
constexpr Column<Large> kLargeColumns[] = {
    column<&Large::slot>("slot",        "GPU", {.least = 0, .most = 2}),
    column<pid_of>      ("pid",         "PID"),
    column<total_of>    ("total_bytes", "MEMORY"),
    column<process_of>  ("process",     "PROCESS"),
};
// clang-format on

void add_holders(Session& session, const Adapter& adapter, std::vector<Large>& large) {
    try {
        OpenDevices devices = read_open_devices(library_of(session), adapter).devices;
        settle(devices, read_attributions(pids_of(devices)));
        for (Holder& holder : read_holders(library_of(session), machine_of(session), adapter, devices)) {
            large.push_back({adapter.slot, std::move(holder)});
        }
    } catch (const Failure&) { // no allocations are published, or they may not be read: kt3 process says which
    } catch (const std::logic_error&) {
    }
}

Brief look_at(Session& session, const Adapter& adapter, std::vector<Large>& large) {
    QueriedAdapter queried(library_of(session), machine_of(session), adapter, true);
    static_cast<void>(queried.sample());
    if (adapter.family != nullptr) {
        add_holders(session, adapter, large);
        sleep_or_interrupt(kLookForRates);
    }
    return {&adapter, read_moving(adapter), queried.sample().frames};
}

void report_adapter(Report& report, const Brief& brief) {
    Row row = row_of(kLiveColumns, brief.moving.live, Format::json);
    add_cells(row, kMovingColumns, brief.moving, Format::json);
    add_cells(row, kFrameColumns, brief.frames, Format::json);
    note_absences(report, brief.adapter->slot, row);
    Json object = identity_of(*brief.adapter);
    put_row(object, row);
    report.adapters.push_back(std::move(object));
}

std::string heading(std::size_t adapters) {
    return fmt::format("kt3 {}: {} graphics adapter{}\n\n", KT3_TOOL_VERSION, adapters, adapters == 1 ? "" : "s");
}

// An adapter of which nothing could be read says why below the table.
std::string reasons_text(const std::vector<Brief>& briefs) {
    std::string text;
    for (const Brief& brief : briefs) {
        const Row row = row_of(kBriefColumns, brief, Format::csv);
        if (nothing_read(row)) {
            const auto why =
                std::find_if(row.begin(), row.end(), [](const Cell& cell) { return cell.value.why().has_value(); });
            text += fmt::format("GPU {}: no values: {}\n", brief.adapter->slot, reason_words(*why->value.why()));
        }
    }
    return text;
}

ExitStatus show_once(Session& session) {
    std::vector<Brief> briefs;
    std::vector<Large> large;
    for (const Adapter* adapter : selected_adapters(session)) {
        briefs.push_back(look_at(session, *adapter, large));
        report_adapter(session.report, briefs.back());
    }
    std::stable_sort(large.begin(), large.end(),
                     [](const Large& a, const Large& b) { return a.holder.total() > b.holder.total(); });
    large.resize(std::min(large.size(), kProcesses));
    session.report.members["processes"] = array_of(kLargeColumns, large);
    const Format format = format_of(session);
    session.text = table_text(session, table_of(kBriefColumns, briefs, format));
    if (format == Format::text) {
        session.text = heading(briefs.size()) + session.text + reasons_text(briefs);
        if (!large.empty()) {
            session.text += '\n' + table_text(session, table_of(kLargeColumns, large, format));
        }
        session.text += "\nMore: kt3 info, kt3 doctor, kt3 --help\n";
    }
    return ExitStatus::ok;
}

} // namespace

ExitStatus run_summary(Session& session, const Repetition& repetition) {
    return repeat(session, repetition, [&] { return show_once(session); });
}

std::vector<DocumentForm> describe_summary() {
    Json adapter = form_of(kAdapterColumns);
    add_columns<LiveReadings>(adapter, kLiveColumns);
    add_columns<MovingReadings>(adapter, kMovingColumns);
    add_columns<FrameReadings>(adapter, kFrameColumns);
    return {{{"summary"}, adapter, {{"processes", array_form(form_of(kLargeColumns))}}}};
}

} // namespace kt3::cli
