// SPDX-License-Identifier: MIT
// kt3 process: who holds how much of an adapter's memory.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/arguments.hpp"
#include "kt3/command_table.hpp"
#include "observe/memory/holders.hpp"
#include "observe/owner/ownership.hpp"
#include "output/adapter.hpp"
#include "output/memory.hpp"
#include "output/schema.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>

namespace kt3::cli {
namespace {

std::int32_t device_of(const Holder& holder) {
    return holder.owner.device;
}
std::optional<std::int32_t> pid_of(const Holder& holder) {
    return holder.owner.pid;
}
std::string name_of(const Holder& holder) {
    return holder.owner.name;
}
std::string process_of(const Holder& holder) {
    return process_text(holder.owner);
}
Bytes total_of(const Holder& holder) {
    return {holder.total()};
}
template<std::size_t Segment>
Bytes segment_of(const Holder& holder) {
    return {holder.segments[Segment]};
}

// clang-format off
// After the place. JSON has the owner and the list of segments instead.
constexpr Column<Holder> kHolderColumns[] = {
    column<pid_of>             ("pid",                  "PID",       {.rank = Rank::stays}),
    column<device_of>          ("device",               "DEVICE",    {.rank = Rank::first}),
    column<segment_of<0>>      ("segment0_bytes",       "SEGMENT 0"),
    column<segment_of<1>>      ("segment1_bytes",       "SEGMENT 1"),
    column<segment_of<2>>      ("segment2_bytes",       "SEGMENT 2"),
    column<segment_of<3>>      ("segment3_bytes",       "SEGMENT 3"),
    column<segment_of<4>>      ("other_segments_bytes", "OTHERS"),
    column<total_of>           ("total_bytes",          "TOTAL",     {.rank = Rank::stays}),
    column<name_of, process_of>("process",              "PROCESS",   {.rank = Rank::stays}),
};

struct SortKey {
    const char* name;
    bool (*before)(const Holder& a, const Holder& b);
};

template<std::size_t Segment>
bool larger_in(const Holder& a, const Holder& b) {
    return a.segments[Segment] > b.segments[Segment];
}

constexpr SortKey kSortKeys[] = {
    {"total",    [](const Holder& a, const Holder& b) { return a.total() > b.total(); }},
    {"pid",      [](const Holder& a, const Holder& b) { return a.owner.pid < b.owner.pid; }},
    {"name",     [](const Holder& a, const Holder& b) { return a.owner.name < b.owner.name; }},
    {"device",   [](const Holder& a, const Holder& b) { return a.owner.device < b.owner.device; }},
    {"segment0", larger_in<0>},
    {"segment1", larger_in<1>},
    {"segment2", larger_in<2>},
    {"segment3", larger_in<3>},
    {"others",   larger_in<4>},
};
// clang-format on

struct Arguments {
    std::optional<std::int32_t> pid;
    std::string name; // a part of it
    std::string sort = "total";
    std::size_t top = SIZE_MAX;
    Repetition repetition;
};

std::vector<std::string> sort_names() {
    std::vector<std::string> names;
    for (const SortKey& key : kSortKeys) {
        names.emplace_back(key.name);
    }
    return names;
}

// Those that the arguments let through, in their order.
void choose(std::vector<Holder>& holders, const Arguments& arguments) {
    std::erase_if(holders, [&](const Holder& holder) {
        const bool wanted = (!arguments.pid || holder.owner.pid == arguments.pid) &&
                            (arguments.name.empty() || holder.owner.name.find(arguments.name) != std::string::npos);
        return !wanted;
    });
    const auto* key = std::find_if(std::begin(kSortKeys), std::end(kSortKeys),
                                   [&](const SortKey& row) { return row.name == arguments.sort; });
    std::stable_sort(holders.begin(), holders.end(), key->before);
}

Json holder_object(const Place& place, const Holder& holder) {
    Json object = object_of(kPlaceColumns, place);
    put_row(object, row_of(kOwnerColumns, holder.owner, Format::json));
    object["segments_bytes"] = holder.segments;
    object["total_bytes"] = holder.total();
    return object;
}

Table holder_table(const Place& place, std::span<const Holder> holders, Format format) {
    Table table;
    add_headings<Place>(table, kPlaceColumns, format);
    add_headings<Holder>(table, kHolderColumns, format);
    for (const Holder& holder : holders) {
        Row row = row_of(kPlaceColumns, place, format);
        add_cells(row, kHolderColumns, holder, format);
        add_row(table, row, format);
    }
    return table;
}

void look_at(Session& session, const Adapter& adapter, const Arguments& arguments) {
    OpenDevices devices = open_devices(session, adapter);
    settle(devices, read_attributions(pids_of(devices)));
    auto holders = read_holders(library_of(session), machine_of(session), adapter, devices);
    choose(holders, arguments);
    const std::span<const Holder> shown(holders.data(), std::min(holders.size(), arguments.top));
    for (const Holder& holder : shown) {
        session.report.members["processes"].push_back(holder_object(place_of(adapter), holder));
    }
    show_table(session, holder_table(place_of(adapter), shown, format_of(session)), adapter_heading(session, adapter));
    if (format_of(session) == Format::text && shown.size() < holders.size()) {
        session.text += fmt::format("{} more\n", holders.size() - shown.size());
    }
}

ExitStatus run_process(Session& session, const Arguments& arguments) {
    return repeat(session, arguments.repetition, [&] {
        session.report.members["processes"] = Json::array();
        return for_each_bound(session, [&](const Adapter& adapter) { look_at(session, adapter, arguments); });
    });
}

} // namespace

std::vector<DocumentForm> describe_process() {
    Json holder = form_of(kPlaceColumns);
    add_columns<Owner>(holder, kOwnerColumns);
    add_member(holder, "segments_bytes", array_form({{"type", "integer"}}, KT3_SEGMENT_SLOTS));
    add_member(holder, "total_bytes", {{"type", "integer"}});
    return {{{"process"}, form_of(kAdapterColumns), {{"processes", array_form(holder)}}}};
}

void add_process(CLI::App& app, Options& options, Chosen& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& process = add_command(app, "process", "Show which processes hold how much memory of an adapter", options,
                                    chosen, {.gpu = true, .csv = true},
                                    [arguments](Session& session) { return run_process(session, *arguments); });
    add_number(process, {"--pid", "Only this process", "PID"}, {0, INT32_MAX}, arguments->pid);
    add_text(process, {"--name", "Only processes whose name has this part", "TEXT"}, arguments->name);
    add_word(process, {"--sort", "What comes first: the largest total, or by another column", "COLUMN"}, sort_names(),
             arguments->sort);
    add_number(process, {"--top", "Only the first ones of each adapter", "COUNT"}, {1, INT32_MAX}, arguments->top);
    add_repetition(process, arguments->repetition);
}

} // namespace kt3::cli
