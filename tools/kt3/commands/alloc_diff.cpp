#include "kt3/commands/alloc_diff.hpp"

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/input.hpp"
#include "kt3/option_checks.hpp"
#include "observe/interrupt.hpp"
#include "output/memory.hpp"
#include "output/screen_text.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <set>
#include <stdexcept>
#include <tuple>

namespace kt3::cli {
namespace {

struct Arguments {
    std::string before, after; // files: none or two
    double wait = 1;
    std::size_t top = 10;
};

struct Held {
    int slot = 0;
    std::int32_t handle = 0;
    Owner owner;
    Shape shape;

    // NOLINTNEXTLINE(modernize-use-nullptr): the 0 that it finds is the compiler's, in a comparison that it made
    auto operator<=>(const Held&) const = default;
};
using Snapshot = std::vector<Held>;

struct Change {
    Tally before, after;
};

[[nodiscard]] std::int64_t growth(const Change& change) {
    return change.after.bytes - change.before.bytes;
}

struct Difference {
    std::map<int, Change> adapters;
    std::map<std::pair<int, Owner>, Change> processes;
    std::map<std::pair<int, Shape>, Change> shapes;
    std::int64_t appeared = 0, vanished = 0;
};

// ---- the two snapshots ----------------------------------------------------------------------------------------------

Snapshot read_snapshot(Session& session, const Adapter& adapter) {
    const OpenDevices devices = open_devices(session, adapter);
    Snapshot snapshot;
    for (const _GFX_ALLOCATION_INFO& record : read_allocations(library_of(session), machine_of(session), adapter)) {
        snapshot.push_back({adapter.slot, record.handle, owner_of(record.device, devices), shape_of(record)});
    }
    return snapshot;
}

Held held_in(const Json& object) {
    const auto number = [&](const char* key) { return object.at(key).get<std::int32_t>(); };
    Owner owner{number("device"), std::nullopt, ""};
    if (!object.at("pid").is_null()) {
        owner.pid = number("pid");
        owner.name = object.at("process").is_null() ? "" : object.at("process").get<std::string>();
    }
    const auto size = static_cast<std::int32_t>(object.at("size_bytes").get<std::uint32_t>());
    return {object.at("slot").get<int>(),
            number("handle"),
            owner,
            {number("width"), number("height"), size, number("hw_format"), number("at_type")}};
}

Snapshot read_saved(const std::string& path) {
    const std::string text = text_of_file(path);
    try {
        const Json document = Json::parse(text);
        Snapshot snapshot;
        for (const Json& object : document.at("allocations")) {
            snapshot.push_back(held_in(object));
        }
        return snapshot;
    } catch (const Json::exception&) { // names the place in terms of its own
        throw Failure{ExitStatus::failure, "input", fmt::format("{} holds no saved allocations", screen_safe(path)),
                      "save them with kt3 alloc list --json -o FILE"};
    }
}

// ---- what changed ---------------------------------------------------------------------------------------------------

void add(Tally& tally, const Held& held) {
    ++tally.count;
    tally.bytes += bytes_of(held.shape.size);
}

void count(Difference& difference, const Snapshot& snapshot, Tally Change::*side) {
    for (const Held& held : snapshot) {
        add(difference.adapters[held.slot].*side, held);
        add(difference.processes[{held.slot, held.owner}].*side, held);
        add(difference.shapes[{held.slot, held.shape}].*side, held);
    }
}

Difference compare(Snapshot before, Snapshot after) {
    Difference difference;
    count(difference, before, &Change::before);
    count(difference, after, &Change::after);
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    Snapshot kept;
    std::set_intersection(before.begin(), before.end(), after.begin(), after.end(), std::back_inserter(kept));
    difference.appeared = static_cast<std::int64_t>(after.size() - kept.size());
    difference.vanished = static_cast<std::int64_t>(before.size() - kept.size());
    return difference;
}

// What changed, the largest growth first.
template<typename Key>
std::vector<std::pair<Key, Change>> changed(const std::map<Key, Change>& changes) {
    std::vector<std::pair<Key, Change>> rows;
    for (const auto& [key, change] : changes) {
        if (growth(change) != 0 || change.before.count != change.after.count) {
            rows.emplace_back(key, change);
        }
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& a, const auto& b) { return growth(a.second) > growth(b.second); });
    return rows;
}

// ---- output ---------------------------------------------------------------------------------------------------------

void put_change(Json& object, const Change& change) {
    put_tally(object["before"], change.before);
    put_tally(object["after"], change.after);
    object["growth"] = Json::object();
    put_tally(object["growth"], {change.after.count - change.before.count, growth(change)});
}

Json difference_object(const Difference& difference) {
    Json object = {{"appeared", difference.appeared},
                   {"vanished", difference.vanished},
                   {"totals", Json::array()},
                   {"processes", Json::array()},
                   {"shapes", Json::array()}};
    for (const auto& [slot, change] : difference.adapters) {
        put_change(object["totals"].emplace_back(Json{{"slot", slot}}), change);
    }
    for (const auto& [key, change] : changed(difference.processes)) {
        Json& row = object["processes"].emplace_back(Json{{"slot", key.first}});
        put_owner(row, key.second);
        put_change(row, change);
    }
    for (const auto& [key, change] : changed(difference.shapes)) {
        Json& row = object["shapes"].emplace_back(Json{{"slot", key.first}});
        put_shape(row, key.second);
        put_change(row, change);
    }
    return object;
}

std::string with_sign(std::int64_t number, const std::string& text) {
    return number > 0 ? "+" + text : text;
}

Table difference_table(const Difference& difference, std::size_t top, bool csv) {
    Table table{{{"GPU", "slot", Align::right},
                 {"BY", "by"},
                 {"GROWTH", "growth_bytes", Align::right},
                 {"COUNT", "growth_allocations", Align::right},
                 {"BEFORE", "before_bytes", Align::right},
                 {"AFTER", "after_bytes", Align::right},
                 {"WHAT", "what"}},
                {}};
    const auto size = [&](std::int64_t bytes) { return csv ? std::to_string(bytes) : bytes_text(bytes); };
    const auto row = [&](int slot, const char* by, const Change& change, const std::string& what) {
        const std::int64_t more = change.after.count - change.before.count;
        const std::string bytes = size(growth(change));
        const std::string number = std::to_string(more);
        table.rows.push_back({std::to_string(slot), by, csv ? bytes : with_sign(growth(change), bytes),
                              csv ? number : with_sign(more, number), size(change.before.bytes),
                              size(change.after.bytes), what});
    };
    const auto rows = [&](const char* by, const auto& changes, auto text) {
        std::size_t shown = 0;
        for (const auto& [key, change] : changed(changes)) {
            if (csv || shown++ < top) {
                row(key.first, by, change, text(key.second));
            }
        }
    };
    for (const auto& [slot, change] : difference.adapters) {
        row(slot, "all", change, "");
    }
    rows("process", difference.processes, owner_text);
    rows("shape", difference.shapes, shape_text);
    return table;
}

void show(Session& session, const Difference& difference, std::size_t top) {
    session.report.members["difference"] = difference_object(difference);
    const std::string heading =
        fmt::format("{} allocations appeared, {} vanished", difference.appeared, difference.vanished);
    show_table(session, difference_table(difference, top, format_of(session) == Format::csv), heading);
}

ExitStatus run_diff(Session& session, const Arguments& arguments) {
    if (!arguments.after.empty()) {
        Snapshot older = read_saved(arguments.before);
        show(session, compare(std::move(older), read_saved(arguments.after)), arguments.top);
        return ExitStatus::ok;
    }
    if (!arguments.before.empty()) {
        throw Failure{ExitStatus::usage, "usage", "kt3 alloc diff takes two files or none",
                      "see kt3 alloc diff --help"};
    }
    Snapshot before, after;
    const auto take = [&](Snapshot& snapshot) {
        session.report.adapters = Json::array();
        return for_each_bound(session, [&](const Adapter& adapter) {
            const Snapshot one = read_snapshot(session, adapter);
            snapshot.insert(snapshot.end(), one.begin(), one.end());
        });
    };
    if (const ExitStatus status = take(before); status != ExitStatus::ok) {
        return status;
    }
    sleep_or_interrupt(arguments.wait);
    const ExitStatus status = take(after);
    if (status == ExitStatus::ok) {
        show(session, compare(before, after), arguments.top);
    }
    return status;
}

} // namespace

void add_alloc_diff(CLI::App& alloc, Options& options, Chosen& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& diff = add_command(alloc, "diff", "Show what grew between two looks, or two saved lists", options, chosen,
                                 {.gpu = true, .csv = true},
                                 [arguments](Session& session) { return run_diff(session, *arguments); });
    diff.add_option("before", arguments->before, "Output of kt3 alloc list --json; without files two looks are taken")
        ->type_name("FILE")
        ->check(not_empty());
    diff.add_option("after", arguments->after, "A later one")->type_name("FILE")->check(not_empty());
    diff.add_option("-w,--wait", arguments->wait, "Seconds between the two looks (1)")
        ->type_name("SECONDS")
        ->check(seconds_to_wait());
    diff.add_option("--top", arguments->top, "Processes and shapes on screen (10); JSON and CSV have all")
        ->type_name("COUNT")
        ->transform(whole_number(1, INT32_MAX));
}

} // namespace kt3::cli
