// kt3 alloc: every allocation, and what they add up to.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/command_table.hpp"
#include "kt3/commands/alloc_diff.hpp"
#include "kt3/option_checks.hpp"
#include "observe/memory/allocations.hpp"
#include "output/memory.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <memory>

namespace kt3::cli {
namespace {

using Record = _GFX_ALLOCATION_INFO;

struct Field {
    const char* key;
    const char* heading; // null: not on screen
    std::int32_t Record::*member;
};

// Behind slot, owner and size, which need more than a member.
// clang-format off
constexpr Field kFields[] = {
    {"handle",          "HANDLE",  &Record::handle},
    {"width",           "WIDTH",   &Record::width},
    {"height",          "HEIGHT",  &Record::height},
    {"pitch",           nullptr,   &Record::pitch},
    {"bit_cnt",         "BITS",    &Record::bit_cnt},
    {"secured",         nullptr,   &Record::secured},
    {"tile",            nullptr,   &Record::tile},
    {"cpu_visible",     nullptr,   &Record::cpu_visible},
    {"cache_type",      nullptr,   &Record::cache_type},
    {"pool_type",       nullptr,   &Record::pool_type},
    {"at_type",         "TYPE",    &Record::at_type},
    {"segment",         "SEGMENT", &Record::segmentid},
    {"hw_format",       "FORMAT",  &Record::hw_format},
    {"compress_format", nullptr,   &Record::compress_format},
    {"bl_slot_index",   nullptr,   &Record::bl_slot_index},
    {"gpu_virt_addr",   nullptr,   &Record::gpu_virt_addr},
    {"imported",        nullptr,   &Record::imported},
    {"fb_offset",       nullptr,   &Record::fb_offset},
    {"share",           nullptr,   &Record::share},
};
// clang-format on

// ---- list -----------------------------------------------------------------------------------------------------------

Table list_table(bool csv) {
    Table table{{{"GPU", "slot", Align::right},
                 {"DEVICE", "device", Align::right},
                 {"PID", "pid", Align::right},
                 {"SIZE", "size_bytes", Align::right}},
                {}};
    for (const Field& field : kFields) {
        if (csv || field.heading != nullptr) {
            table.columns.push_back({field.heading, field.key, Align::right});
        }
    }
    table.columns.push_back({"PROCESS", "process"});
    return table;
}

std::vector<std::string> list_row(int slot, const Record& record, const Owner& owner, bool csv) {
    std::vector<std::string> row{std::to_string(slot), std::to_string(record.device), pid_text(owner),
                                 csv ? std::to_string(bytes_of(record.size)) : bytes_text(bytes_of(record.size))};
    for (const Field& field : kFields) {
        if (csv || field.heading != nullptr) {
            const bool address = !csv && field.member == &Record::handle;
            row.push_back(address ? fmt::format("{:#x}", record.*field.member) : std::to_string(record.*field.member));
        }
    }
    row.push_back(csv ? owner.name : process_text(owner));
    return row;
}

void list_adapter(Session& session, const Adapter& adapter) {
    const bool csv = format_of(session) == Format::csv;
    const OpenDevices devices = open_devices(session, adapter);
    Allocations allocations = read_allocations(library_of(session), machine_of(session), adapter);
    // The library leaves open in which order the allocations of one device come.
    std::sort(allocations.begin(), allocations.end(), [](const Record& a, const Record& b) {
        return a.device != b.device ? a.device < b.device : a.handle < b.handle;
    });
    Table table = list_table(csv);
    for (const Record& record : allocations) {
        const Owner owner = owner_of(record.device, devices);
        session.report.members["allocations"].push_back(allocation_object(adapter.slot, record, owner));
        table.rows.push_back(list_row(adapter.slot, record, owner, csv));
    }
    show_table(session, table, adapter_heading(session, adapter));
}

ExitStatus run_list(Session& session) {
    session.report.members["allocations"] = Json::array();
    return for_each_bound(session, [&](const Adapter& adapter) { list_adapter(session, adapter); });
}

// ---- summary --------------------------------------------------------------------------------------------------------

struct Summary {
    Tally all;
    std::array<Tally, KT3_SEGMENT_SLOTS> segments;
    Tally misplaced; // in no valid segment
    std::map<Owner, Tally> owners;
    std::map<Shape, Tally> shapes;
};

void add(Tally& tally, const Record& record) {
    ++tally.count;
    tally.bytes += bytes_of(record.size);
}

Summary summarise(const Allocations& allocations, const OpenDevices& devices) {
    Summary summary;
    for (const Record& record : allocations) {
        const auto slot = segment_slot(record.segmentid);
        add(summary.all, record);
        add(slot ? summary.segments[*slot] : summary.misplaced, record);
        add(summary.owners[owner_of(record.device, devices)], record);
        add(summary.shapes[shape_of(record)], record);
    }
    return summary;
}

template<typename Key>
std::vector<std::pair<Key, Tally>> largest_first(const std::map<Key, Tally>& tallies) {
    std::vector<std::pair<Key, Tally>> sorted(tallies.begin(), tallies.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.second.bytes > b.second.bytes; });
    return sorted;
}

const char* segment_name(std::size_t slot) {
    constexpr const char* kNames[] = {"0", "1", "2", "3", "4 and later"};
    return kNames[slot];
}

Json summary_object(int slot, const Summary& summary) {
    Json object = {{"slot", slot}};
    put_tally(object, summary.all);
    for (const char* list : {"segments", "processes", "shapes"}) {
        object[list] = Json::array();
    }
    for (std::size_t at = 0; at < summary.segments.size(); ++at) {
        Json& row = object["segments"].emplace_back(Json{{"segment", segment_name(at)}});
        put_tally(row, summary.segments[at]);
    }
    put_tally(object["invalid_segment"], summary.misplaced);
    for (const auto& [owner, tally] : largest_first(summary.owners)) {
        Json& row = object["processes"].emplace_back(Json::object());
        put_owner(row, owner);
        put_tally(row, tally);
    }
    for (const auto& [shape, tally] : largest_first(summary.shapes)) {
        Json& row = object["shapes"].emplace_back(Json::object());
        put_shape(row, shape);
        put_tally(row, tally);
    }
    return object;
}

void summarise_adapter(Session& session, const Adapter& adapter, std::size_t top) {
    const OpenDevices devices = open_devices(session, adapter);
    const Summary summary = summarise(read_allocations(library_of(session), machine_of(session), adapter), devices);
    session.report.members["allocation_summaries"].push_back(summary_object(adapter.slot, summary));
    const bool csv = format_of(session) == Format::csv;
    Table table{{{"GPU", "slot", Align::right},
                 {"BY", "by"},
                 {"ALLOCATIONS", "allocations", Align::right},
                 {"MEMORY", "bytes", Align::right},
                 {"WHAT", "what"}},
                {}};
    const auto row = [&](const char* by, const Tally& tally, const std::string& what) {
        table.rows.push_back({std::to_string(adapter.slot), by, std::to_string(tally.count),
                              csv ? std::to_string(tally.bytes) : bytes_text(tally.bytes), what});
    };
    const auto rows = [&](const char* by, const auto& tallies, auto text) {
        std::size_t shown = 0;
        for (const auto& [key, tally] : largest_first(tallies)) {
            if (csv || shown++ < top) {
                row(by, tally, text(key));
            }
        }
    };
    row("all", summary.all, "");
    for (std::size_t at = 0; at < summary.segments.size(); ++at) {
        row("segment", summary.segments[at], segment_name(at));
    }
    if (summary.misplaced.count != 0) {
        row("segment", summary.misplaced, "invalid");
    }
    rows("process", summary.owners, owner_text);
    rows("shape", summary.shapes, shape_text);
    show_table(session, table, adapter_heading(session, adapter));
}

ExitStatus run_summary_of(Session& session, std::size_t top) {
    session.report.members["allocation_summaries"] = Json::array();
    return for_each_bound(session, [&](const Adapter& adapter) { summarise_adapter(session, adapter, top); });
}

} // namespace

Json allocation_object(int slot, const Record& record, const Owner& owner) {
    Json object = {{"slot", slot}};
    put_owner(object, owner);
    object["size_bytes"] = bytes_of(record.size);
    for (const Field& field : kFields) {
        object[field.key] = record.*field.member;
    }
    return object;
}

void add_alloc(CLI::App& app, Options& options, Chosen& chosen) {
    CLI::App& alloc = *app.add_subcommand("alloc", "Show the memory allocated on an adapter");
    alloc.require_subcommand(1);
    const Accepts accepts{.gpu = true, .csv = true};
    const auto top = std::make_shared<std::size_t>(10);
    add_command(alloc, "list", "Show every allocation", options, chosen, accepts, run_list);
    add_command(alloc, "summary", "Add allocations up by segment, process and shape", options, chosen, accepts,
                [top](Session& session) { return run_summary_of(session, *top); })
        .add_option("--top", *top, "Processes and shapes on screen (10); JSON and CSV have all")
        ->type_name("COUNT")
        ->transform(whole_number(1, INT32_MAX));
    add_alloc_diff(alloc, options, chosen);
}

} // namespace kt3::cli
