// SPDX-License-Identifier: MIT
// kt3 leak: looks at the allocations again and again, and tells which shapes grow and whose they are.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/arguments.hpp"
#include "kt3/command_table.hpp"
#include "observe/adapter/binding.hpp"
#include "observe/memory/leak_watch.hpp"
#include "observe/owner/ownership.hpp"
#include "output/adapter.hpp"
#include "output/memory.hpp"
#include "output/schema.hpp"
#include "output/screen_text.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>

namespace kt3::cli {
namespace {

constexpr std::int64_t kMostLooks = 1'000'000;

struct Arguments {
    LeakWatch watch;
    std::size_t top = KT3_MEMLEAK_GROUPS;
};

// ---- the rows -------------------------------------------------------------------------------------------------------

// A group, whose it is, and the verdict.
struct Leak {
    Shape shape;
    LeakGroup group;
    std::vector<std::pair<Owner, std::int64_t>> owners;
    bool leaks = false;
};

std::int64_t live_of(const Leak& leak) {
    return leak.group.live;
}
std::int64_t growth_of(const Leak& leak) {
    return leak.group.growth();
}
std::string growth_text(const Leak& leak) {
    return (growth_of(leak) > 0 ? "+" : "") + std::to_string(growth_of(leak));
}
int growing_of(const Leak& leak) {
    return leak.group.longest;
}
int lived_of(const Leak& leak) {
    return leak.group.lived;
}
Bytes memory_of(const Leak& leak) {
    return {leak.group.live * bytes_of(leak.shape.size)};
}
std::string owners_text(const Leak& leak) {
    std::string text;
    for (const auto& [owner, live] : leak.owners) {
        text += fmt::format("{}{}", text.empty() ? "" : ", ", owner_text(owner));
        text += leak.owners.size() > 1 ? fmt::format(": {}", live) : "";
    }
    return text;
}

// clang-format off
// After the place, with the shape between them and the owners.
constexpr Column<Leak> kLeakColumns[] = {
    column<live_of>               ("live",          "LIVE"),
    column<growth_of, growth_text>("growth",        "GROWTH",        {.rank = Rank::stays}),
    column<growing_of>            ("growing_looks", "GREW IN A ROW"),
    column<lived_of>              ("lived_looks",   "LIVED",         {.rank = Rank::first}),
    column<memory_of>             ("live_bytes",    "MEMORY"),
};
constexpr Column<Leak> kOwnersColumn[] = {
    column<owners_text>("owners", "OWNERS", {.rank = Rank::stays}),
};

// In JSON the shape comes first, and the list of owners last.
constexpr Column<Leak> kLeakMembers[] = {
    member<live_of>     ("live"),
    member<growth_of>   ("growth"),
    member<memory_of>   ("live_bytes"),
    member<lived_of>    ("lived_looks"),
    member<growing_of>  ("growing_looks"),
    member<&Leak::leaks>("leaks"),
};
// clang-format on

// Those that live or leak, the largest growth first.
std::vector<Leak> leaks_by_growth(const LeakGroups& groups, const OpenDevices& devices, const LeakWatch& watch) {
    std::vector<Leak> found;
    for (const auto& [shape, group] : groups) {
        const bool leaking = leaks(group, watch);
        if (group.live != 0 || leaking) {
            found.push_back({shape, group, owners_of(group, devices), leaking});
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const Leak& a, const Leak& b) {
        return std::pair(growth_of(a), live_of(a)) > std::pair(growth_of(b), live_of(b));
    });
    return found;
}

Json leak_object(const Place& place, const Leak& leak) {
    Json object = object_of(kPlaceColumns, place);
    put_row(object, row_of(kShapeColumns, leak.shape, Format::json));
    put_row(object, row_of(kLeakMembers, leak, Format::json));
    object["owners"] = Json::array();
    for (const auto& [owner, live] : leak.owners) {
        Json& entry = object["owners"].emplace_back(object_of(kOwnerColumns, owner));
        entry["live"] = live;
    }
    return object;
}

Table leak_table(const Place& place, std::span<const Leak> found, Format format) {
    Table table;
    add_headings<Place>(table, kPlaceColumns, format);
    add_headings<Leak>(table, kLeakColumns, format);
    add_headings<Shape>(table, kShapeColumns, format);
    add_headings<Leak>(table, kOwnersColumn, format);
    for (const Leak& leak : found) {
        Row row = row_of(kPlaceColumns, place, format);
        add_cells(row, kLeakColumns, leak, format);
        add_cells(row, kShapeColumns, leak.shape, format);
        add_cells(row, kOwnersColumn, leak, format);
        add_row(table, row, format);
    }
    return table;
}

// ---- the command ----------------------------------------------------------------------------------------------------

const Adapter& watched_adapter(Session& session) {
    const auto adapters = memory_adapters(session);
    if (adapters.size() > 1 && names_all(session.options.gpus) && !session.options.gpus.empty()) {
        throw Failure{ExitStatus::usage, "usage", "kt3 leak watches one adapter", "choose it with -g SLOT"};
    }
    return *adapters.front(); // also without --gpu
}

std::string verdict_of(const std::vector<Leak>& found, std::size_t width) {
    std::string verdict;
    for (const Leak& leak : found) {
        if (leak.leaks) {
            const std::string line = fmt::format("grew in {} looks in a row: {}; {}", leak.group.longest,
                                                 shape_text(leak.shape), screen_safe(owners_text(leak)));
            verdict += wrapped(line, width, 2) + '\n';
        }
    }
    return verdict;
}

void show(Session& session, const Adapter& adapter, const std::vector<Leak>& found, const Arguments& arguments) {
    for (const Leak& leak : found) {
        session.report.members["groups"].push_back(leak_object(place_of(adapter), leak));
    }
    const bool csv = format_of(session) == Format::csv;
    const std::span<const Leak> shown(found.data(), csv ? found.size() : std::min(found.size(), arguments.top));
    show_table(session, leak_table(place_of(adapter), shown, format_of(session)),
               adapter_heading(session, adapter,
                               fmt::format("  {} looks, {} s apart", arguments.watch.looks, arguments.watch.wait)));
    const std::string verdict = verdict_of(found, screen_of(session).width);
    if (!csv && !verdict.empty()) {
        session.text += '\n' + painted(verdict, Paint::bad, color_of(session));
    }
}

ExitStatus run_leak(Session& session, const Arguments& arguments) {
    const LeakWatch& watch = arguments.watch;
    if (watch.gate >= watch.looks) {
        throw Failure{ExitStatus::usage, "usage",
                      fmt::format("--gate {} needs at least {} looks", watch.gate, watch.gate + 1),
                      fmt::format("add -n {} or more", watch.gate + 1)};
    }
    session.report.members["looks"] = watch.looks;
    session.report.members["wait_s"] = watch.wait;
    session.report.members["gate"] = watch.gate > 0 ? Json(watch.gate) : Json(nullptr);
    session.report.members["groups"] = Json::array();
    const Adapter& adapter = watched_adapter(session);
    session.report.adapters.push_back(identity_of(adapter));
    const Binding binding(library_of(session), machine_of(session), adapter);
    const LeakGroups groups = watch_leaks(library_of(session), adapter, watch);
    OpenDevices devices = open_devices(session, adapter);
    settle(devices, read_attributions(pids_of(devices)));
    const auto found = leaks_by_growth(groups, devices, watch);
    show(session, adapter, found, arguments);
    const bool leaking = std::any_of(found.begin(), found.end(), [](const Leak& leak) { return leak.leaks; });
    return leaking && watch.gate > 0 ? ExitStatus::gate : ExitStatus::ok;
}

} // namespace

std::vector<DocumentForm> describe_leak() {
    Json owner = form_of(kOwnerColumns);
    add_member(owner, "live", {{"type", "integer"}});
    Json leak = form_of(kPlaceColumns);
    add_columns<Shape>(leak, kShapeColumns);
    add_columns<Leak>(leak, kLeakMembers);
    add_member(leak, "owners", array_form(owner));
    return {{{"leak"},
             form_of(kAdapterColumns),
             {{"looks", {{"type", "integer"}}},
              {"wait_s", {{"type", "number"}}},
              {"gate", {{"type", {"integer", "null"}}}},
              {"groups", array_form(leak)}}}};
}

void add_leak(CLI::App& app, Options& options, Chosen& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& leak = add_command(app, "leak", "Watch allocations for shapes that only grow", options, chosen,
                                 {.gpu = true, .csv = true},
                                 [arguments](Session& session) { return run_leak(session, *arguments); });
    add_seconds(leak, {"-w,--wait", "Seconds between two looks (1)", "SECONDS"}, arguments->watch.wait);
    add_number(leak, {"-n,--looks", "How often to look (5)", "COUNT"}, {2, kMostLooks}, arguments->watch.looks);
    add_number(leak, {"--gate", "End with status 6 when a shape grew in N looks in a row", "N"}, {1, kMostLooks - 1},
               arguments->watch.gate);
    add_number(leak, {"--top", "Shapes on screen (15); JSON and CSV have all", "COUNT"}, {1, INT32_MAX},
               arguments->top);
}

} // namespace kt3::cli
