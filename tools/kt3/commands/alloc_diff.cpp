// SPDX-License-Identifier: MIT
#include "kt3/commands/alloc_diff.hpp"

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/arguments.hpp"
#include "kt3/input.hpp"
#include "observe/interrupt.hpp"
#include "observe/memory/snapshots.hpp"
#include "observe/owner/ownership.hpp"
#include "output/memory.hpp"
#include "output/schema.hpp"
#include "output/screen_text.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <memory>

namespace kt3::cli {
namespace {

struct Arguments {
    std::string before, after; // files: none or two
    double wait = 1;
    std::size_t top = 10;
    bool exit_code = false;
};

using Buses = std::map<int, BusId>; // by slot

// ---- the two snapshots ----------------------------------------------------------------------------------------------

Held held_in(const Json& object) {
    const auto number = [&](const char* key) { return object.at(key).get<std::int32_t>(); };
    Owner owner{number("device"), std::nullopt, ""};
    if (!object.at("pid").is_null()) {
        owner.pid = number("pid");
        owner.name = object.at("process").is_null() ? "" : object.at("process").get<std::string>();
        owner.ended = object.at("owner") == "gone";
    }
    const auto size = static_cast<std::int32_t>(object.at("size_bytes").get<std::uint32_t>());
    return {object.at("slot").get<int>(),
            number("handle"),
            owner,
            {number("width"), number("height"), size, number("hw_format"), number("at_type")}};
}

// A look, and where its adapters are.
struct SavedLook {
    Snapshot snapshot;
    Buses buses;
};

SavedLook read_saved(const std::string& path) {
    const std::string text = text_of_file(path);
    try {
        const Json document = Json::parse(text);
        SavedLook look;
        for (const Json& object : document.at("allocations")) {
            look.snapshot.push_back(held_in(object));
        }
        for (const Json& adapter : document.at("adapters")) {
            (void)parse_bus_id(adapter.at("bdf").get<std::string>(), look.buses[adapter.at("slot").get<int>()]);
        }
        return look;
    } catch (const Json::exception&) { // names the place in terms of its own
        throw Failure{ExitStatus::failure, "input", fmt::format("{} holds no saved allocations", screen_safe(path)),
                      "save them with kt3 alloc list --json -o FILE"};
    }
}

// ---- output ---------------------------------------------------------------------------------------------------------

// A line on screen or in CSV. JSON has a list for each kind.
struct ChangeLine {
    Place place;
    std::string by;
    TallyChange change;
    std::string what;
};

std::string with_sign(std::int64_t number, const std::string& text) {
    return number > 0 ? "+" + text : text;
}

Bytes growth_of(const ChangeLine& line) {
    return {line.change.growth().bytes};
}
std::string growth_text(const ChangeLine& line) {
    return with_sign(line.change.growth().bytes, Value(growth_of(line)).text());
}
std::int64_t count_of(const ChangeLine& line) {
    return line.change.growth().count;
}
std::string count_text(const ChangeLine& line) {
    return with_sign(count_of(line), std::to_string(count_of(line)));
}
Bytes before_of(const ChangeLine& line) {
    return {line.change.before.bytes};
}
Bytes after_of(const ChangeLine& line) {
    return {line.change.after.bytes};
}

// clang-format off
constexpr Column<ChangeLine> kChangeColumns[] = {
    column<slot_in<ChangeLine>>    ("slot",               "GPU", {.rank = Rank::stays}),
    column<bus_in<ChangeLine>>     ("bdf",                "",    {.forms = kCsv}),
    column<&ChangeLine::by>        ("by",                 "BY"),
    column<growth_of, growth_text> ("growth_bytes",       "GROWTH"),
    column<count_of, count_text>   ("growth_allocations", "COUNT"),
    column<before_of>              ("before_bytes",       "BEFORE"),
    column<after_of>               ("after_bytes",        "AFTER"),
    column<&ChangeLine::what>      ("what",               "WHAT"),
};
// clang-format on

Json with_change(Json object, const TallyChange& change) {
    object["before"] = object_of(kTallyColumns, change.before);
    object["after"] = object_of(kTallyColumns, change.after);
    object["growth"] = object_of(kTallyColumns, change.growth());
    return object;
}

Place place_in(const Buses& buses, int slot) {
    const auto bus = buses.find(slot);
    return {slot, bus == buses.end() ? BusId{} : bus->second};
}

Json changes_object(const AllocationChanges& changes, const Buses& buses) {
    Json object = {{"appeared", changes.appeared},
                   {"vanished", changes.vanished},
                   {"totals", Json::array()},
                   {"processes", Json::array()},
                   {"shapes", Json::array()}};
    for (const auto& [slot, change] : changes.adapters) {
        object["totals"].push_back(with_change(object_of(kPlaceColumns, place_in(buses, slot)), change));
    }
    for (const auto& [key, change] : changed(changes.processes)) {
        Json row = object_of(kPlaceColumns, place_in(buses, key.first));
        put_row(row, row_of(kOwnerColumns, key.second, Format::json));
        object["processes"].push_back(with_change(std::move(row), change));
    }
    for (const auto& [key, change] : changed(changes.shapes)) {
        Json row = object_of(kPlaceColumns, place_in(buses, key.first));
        put_row(row, row_of(kShapeColumns, key.second, Format::json));
        object["shapes"].push_back(with_change(std::move(row), change));
    }
    return object;
}

// The first `top` processes and shapes.
std::vector<ChangeLine> change_lines(const AllocationChanges& changes, const Buses& buses, std::size_t top) {
    std::vector<ChangeLine> lines;
    for (const auto& [slot, change] : changes.adapters) {
        lines.push_back({place_in(buses, slot), "all", change, ""});
    }
    const auto add = [&](const char* by, const auto& all, auto text) {
        const auto sorted = changed(all);
        for (std::size_t at = 0; at < std::min(top, sorted.size()); ++at) {
            const auto& [key, change] = sorted[at];
            lines.push_back({place_in(buses, key.first), by, change, text(key.second)});
        }
    };
    add("process", changes.processes, owner_text);
    add("shape", changes.shapes, shape_text);
    return lines;
}

// Returns the status that --exit-code asks for.
ExitStatus show(Session& session, const AllocationChanges& changes, const Buses& buses, const Arguments& arguments) {
    session.report.members["difference"] = changes_object(changes, buses);
    const Format format = format_of(session);
    const auto lines = change_lines(changes, buses, format == Format::csv ? SIZE_MAX : arguments.top);
    show_table(session, table_of(kChangeColumns, lines, format),
               fmt::format("{} allocated, {} freed", changes.appeared, changes.vanished));
    const bool differ = changes.appeared + changes.vanished != 0;
    return arguments.exit_code && differ ? ExitStatus::failure : ExitStatus::ok;
}

ExitStatus run_diff(Session& session, const Arguments& arguments) {
    if (!arguments.after.empty()) {
        SavedLook older = read_saved(arguments.before);
        SavedLook newer = read_saved(arguments.after);
        newer.buses.insert(older.buses.begin(), older.buses.end());
        return show(session, compare_snapshots(std::move(older.snapshot), std::move(newer.snapshot)), newer.buses,
                    arguments);
    }
    if (!arguments.before.empty()) {
        throw Failure{ExitStatus::usage, "usage", "kt3 alloc diff takes two files or none",
                      "see kt3 alloc diff --help"};
    }
    Snapshot before, after;
    const auto take = [&](Snapshot& snapshot) {
        session.report.adapters = Json::array();
        return for_each_look(session, {Group::allocations}, [&](const Adapter& adapter, const Observation& look) {
            const AllocationsRead& read = look.allocations.get();
            note_failures(session, read.failures);
            const Snapshot one = snapshot_of(adapter.slot, read.allocations, read.devices);
            snapshot.insert(snapshot.end(), one.begin(), one.end());
        });
    };
    if (const ExitStatus status = take(before); status != ExitStatus::ok) {
        return status;
    }
    sleep_or_interrupt(arguments.wait);
    const ExitStatus status = take(after);
    if (status != ExitStatus::ok) {
        return status;
    }
    Buses buses;
    for (const Adapter& adapter : machine_of(session).adapters) {
        buses[adapter.slot] = adapter.bus;
    }
    return show(session, compare_snapshots(std::move(before), std::move(after)), buses, arguments);
}

Json changed_form(Json form) {
    for (const char* side : {"before", "after", "growth"}) {
        add_member(form, side, form_of(kTallyColumns));
    }
    return form;
}

} // namespace

Json changes_form() {
    Json process = form_of(kPlaceColumns);
    add_columns<Owner>(process, kOwnerColumns);
    Json shape = form_of(kPlaceColumns);
    add_columns<Shape>(shape, kShapeColumns);
    Json form = object_form();
    add_member(form, "appeared", {{"type", "integer"}});
    add_member(form, "vanished", {{"type", "integer"}});
    add_member(form, "totals", array_form(changed_form(form_of(kPlaceColumns))));
    add_member(form, "processes", array_form(changed_form(process)));
    add_member(form, "shapes", array_form(changed_form(shape)));
    return form;
}

void add_alloc_diff(CLI::App& alloc, Options& options, Chosen& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& diff = add_command(alloc, "diff", "Show what grew between two looks, or two saved lists", options, chosen,
                                 {.gpu = true, .csv = true},
                                 [arguments](Session& session) { return run_diff(session, *arguments); });
    add_text(diff, {"before", "Output of kt3 alloc list --json; without files two looks are taken", "FILE"},
             arguments->before);
    add_text(diff, {"after", "A later one", "FILE"}, arguments->after);
    add_seconds(diff, {"-w,--wait", "Seconds between the two looks (1)", "SECONDS"}, arguments->wait);
    add_number(diff, {"--top", "Processes and shapes on screen (10); JSON and CSV have all", "COUNT"}, {1, INT32_MAX},
               arguments->top);
    add_flag(diff, {"--exit-code", "End with status 1 when the two looks differ"}, arguments->exit_code);
}

} // namespace kt3::cli
