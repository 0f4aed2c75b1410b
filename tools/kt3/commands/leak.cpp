// kt3 leak: looks at the allocations again and again, and tells which shapes grow and whose they are.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/command_table.hpp"
#include "kt3/option_checks.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "observe/adapter/binding.hpp"
#include "observe/interrupt.hpp"
#include "observe/library/library_lines.hpp"
#include "observe/memory/allocations.hpp"
#include "output/adapter.hpp"
#include "output/memory.hpp"
#include "output/screen_text.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <set>

namespace kt3::cli {
namespace {

constexpr std::int64_t kMostLooks = 1'000'000;

struct Arguments {
    double wait = 1;
    int looks = 5;
    int gate = 0; // 0: none
    std::size_t top = KT3_MEMLEAK_GROUPS;
};

// Allocations of one shape over all looks.
struct Group {
    std::int64_t live = 0;  // at the latest look
    std::int64_t first = 0; // at the first look
    std::int64_t before = 0;
    int lived = 0;   // consecutive looks that saw its first allocation
    int growing = 0; // looks in a row, up to the latest, each of which found more than the one before
    int longest = 0; // the longest such row
    std::map<std::int32_t, std::int64_t> devices; // live ones of each
};
using Groups = std::map<Shape, Group>;

// A reading that had to begin anew holds some allocations twice; each counts once.
void count_live(const std::vector<_GFX_ALLOCATION_INFO>& tracked, Groups& groups) {
    std::set<std::tuple<std::int32_t, std::int32_t, Shape>> counted;
    for (const _GFX_ALLOCATION_INFO& record : tracked) {
        const Shape shape = shape_of(record);
        if (!counted.insert({record.device, record.handle, shape}).second) {
            continue;
        }
        Group& group = groups[shape];
        group.lived = group.live == 0 ? record.seen_count : group.lived;
        ++group.live;
        ++group.devices[record.device];
    }
}

void take_look(const std::vector<_GFX_ALLOCATION_INFO>& tracked, Groups& groups, bool first_look) {
    for (auto& [shape, group] : groups) {
        group.before = group.live;
        group.live = 0;
        group.lived = 0;
        group.devices.clear();
    }
    count_live(tracked, groups);
    for (auto& [shape, group] : groups) {
        group.first = first_look ? group.live : group.first;
        group.growing = !first_look && group.live > group.before ? group.growing + 1 : 0;
        group.longest = std::max(group.longest, group.growing);
    }
}

// The call answers 0 even when it could not look; it leaves its result alone then.
void look_once(Session& session, const Adapter& adapter) {
    const auto get = KT3_ENTRY(library_of(session), get_memleak_info);
    _GFX_ALLOCATION_INFO largest[KT3_MEMLEAK_GROUPS] = {};
    constexpr std::int32_t kUntouched = -1;
    largest[0].sum_count = kUntouched;
    lines_during(library_of(session), [&] { get(largest); });
    check_interrupt();
    if (largest[0].sum_count == kUntouched) {
        throw unreadable(adapter, "allocations", "the allocations");
    }
}

Groups watch(Session& session, const Adapter& adapter, const Arguments& arguments) {
    const auto& tracked = *KT3_OBJECT(library_of(session), vec_memleak_result);
    Groups groups;
    for (int look = 0; look < arguments.looks; ++look) {
        if (look != 0) {
            sleep_or_interrupt(arguments.wait);
        }
        look_once(session, adapter);
        take_look(tracked, groups, look == 0);
    }
    return groups;
}

// ---- output ---------------------------------------------------------------------------------------------------------

using Row = Groups::value_type;

bool leaks(const Group& group, const Arguments& arguments) {
    return arguments.gate > 0 ? group.longest >= arguments.gate
                              : group.longest > 1 && group.longest == arguments.looks - 1;
}

std::vector<const Row*> live_by_growth(const Groups& groups, const Arguments& arguments) {
    std::vector<const Row*> rows;
    for (const Row& row : groups) {
        if (row.second.live != 0 || leaks(row.second, arguments)) {
            rows.push_back(&row);
        }
    }
    std::stable_sort(rows.begin(), rows.end(), [](const Row* a, const Row* b) {
        const auto key = [](const Row* row) {
            return std::pair(row->second.live - row->second.first, row->second.live);
        };
        return key(a) > key(b);
    });
    return rows;
}

// The largest holder first.
std::vector<std::pair<Owner, std::int64_t>> owners_of(const Group& group, const OpenDevices& devices) {
    std::vector<std::pair<Owner, std::int64_t>> owners;
    for (const auto& [device, live] : group.devices) {
        owners.emplace_back(owner_of(device, devices), live);
    }
    std::stable_sort(owners.begin(), owners.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
    return owners;
}

std::string owners_text(const Group& group, const OpenDevices& devices) {
    std::string text;
    for (const auto& [owner, live] : owners_of(group, devices)) {
        text += fmt::format("{}{}", text.empty() ? "" : ", ", owner_text(owner));
        text += group.devices.size() > 1 ? fmt::format(": {}", live) : "";
    }
    return text;
}

Json group_object(int slot, const Row& row, const OpenDevices& devices, const Arguments& arguments) {
    const Group& group = row.second;
    Json object = {{"slot", slot}};
    put_shape(object, row.first);
    object["live"] = group.live;
    object["growth"] = group.live - group.first;
    object["live_bytes"] = group.live * bytes_of(row.first.size);
    object["lived_looks"] = group.lived;
    object["growing_looks"] = group.longest;
    object["leaks"] = leaks(group, arguments);
    object["owners"] = Json::array();
    for (const auto& [owner, live] : owners_of(group, devices)) {
        Json& entry = object["owners"].emplace_back(Json::object());
        put_owner(entry, owner);
        entry["live"] = live;
    }
    return object;
}

Table group_table(const Adapter& adapter, const std::vector<const Row*>& rows, const OpenDevices& devices, bool csv) {
    Table table{{{"GPU", "slot", Align::right},
                 {"LIVE", "live", Align::right},
                 {"GROWTH", "growth", Align::right},
                 {"GREW IN A ROW", "growing_looks", Align::right},
                 {"LIVED", "lived_looks", Align::right},
                 {"MEMORY", "live_bytes", Align::right},
                 {"WIDTH", "width", Align::right},
                 {"HEIGHT", "height", Align::right},
                 {"SIZE", "size_bytes", Align::right},
                 {"FORMAT", "hw_format", Align::right},
                 {"TYPE", "at_type", Align::right},
                 {"OWNERS", "owners"}},
                {}};
    for (const Row* row : rows) {
        const auto& [shape, group] = *row;
        const std::int64_t growth = group.live - group.first;
        const std::int64_t bytes = group.live * bytes_of(shape.size);
        table.rows.push_back({std::to_string(adapter.slot), std::to_string(group.live),
                              (growth > 0 && !csv ? "+" : "") + std::to_string(growth), std::to_string(group.longest),
                              std::to_string(group.lived), csv ? std::to_string(bytes) : bytes_text(bytes),
                              std::to_string(shape.width), std::to_string(shape.height),
                              std::to_string(bytes_of(shape.size)), std::to_string(shape.hw_format),
                              std::to_string(shape.at_type), owners_text(group, devices)});
    }
    return table;
}

const Adapter& only_adapter(Session& session) {
    const auto adapters = memory_adapters(session);
    if (adapters.size() > 1 && session.options.gpu == "all") {
        throw Failure{ExitStatus::usage, "usage", "kt3 leak watches one adapter", "choose it with -g SLOT"};
    }
    return *adapters.front(); // also without --gpu
}

ExitStatus show(Session& session, const Adapter& adapter, const Groups& groups, const OpenDevices& devices,
                const Arguments& arguments) {
    const bool csv = format_of(session) == Format::csv;
    auto rows = live_by_growth(groups, arguments);
    const bool found =
        std::any_of(rows.begin(), rows.end(), [&](const Row* row) { return leaks(row->second, arguments); });
    std::string verdict;
    for (const Row* row : rows) {
        session.report.members["groups"].push_back(group_object(adapter.slot, *row, devices, arguments));
        if (leaks(row->second, arguments)) {
            verdict += fmt::format("grew in {} looks in a row: {}; {}\n", row->second.longest, shape_text(row->first),
                                   screen_safe(owners_text(row->second, devices)));
        }
    }
    if (!csv) {
        rows.resize(std::min(rows.size(), arguments.top));
    }
    show_table(
        session, group_table(adapter, rows, devices, csv),
        fmt::format("{}  {} looks, {} s apart", adapter_heading(session, adapter), arguments.looks, arguments.wait));
    if (!csv && !verdict.empty()) {
        session.text += '\n' + painted(verdict, Paint::bad, color_of(session));
    }
    return found && arguments.gate > 0 ? ExitStatus::gate : ExitStatus::ok;
}

ExitStatus run_leak(Session& session, const Arguments& arguments) {
    if (arguments.gate >= arguments.looks) {
        throw Failure{ExitStatus::usage, "usage",
                      fmt::format("--gate {} needs at least {} looks", arguments.gate, arguments.gate + 1),
                      fmt::format("add -n {} or more", arguments.gate + 1)};
    }
    session.report.members["looks"] = arguments.looks;
    session.report.members["wait_s"] = arguments.wait;
    session.report.members["gate"] = arguments.gate > 0 ? Json(arguments.gate) : Json(nullptr);
    session.report.members["groups"] = Json::array();
    const Adapter& adapter = only_adapter(session);
    session.report.adapters.push_back(identity_of(adapter));
    const Binding binding(library_of(session), machine_of(session), adapter);
    const Groups groups = watch(session, adapter, arguments);
    return show(session, adapter, groups, open_devices(session, adapter), arguments);
}

} // namespace

void add_leak(CLI::App& app, Options& options, Chosen& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& leak = add_command(app, "leak", "Watch allocations for shapes that only grow", options, chosen,
                                 {.gpu = true, .csv = true},
                                 [arguments](Session& session) { return run_leak(session, *arguments); });
    leak.add_option("-w,--wait", arguments->wait, "Seconds between two looks (1)")
        ->type_name("SECONDS")
        ->check(seconds_to_wait());
    leak.add_option("-n,--looks", arguments->looks, "How often to look (5)")
        ->type_name("COUNT")
        ->transform(whole_number(2, kMostLooks));
    leak.add_option("--gate", arguments->gate, "End with status 6 when a shape grew in N looks in a row")
        ->type_name("N")
        ->transform(whole_number(1, kMostLooks - 1));
    leak.add_option("--top", arguments->top, "Shapes on screen (15); JSON and CSV have all")
        ->type_name("COUNT")
        ->transform(whole_number(1, INT32_MAX));
}

} // namespace kt3::cli
