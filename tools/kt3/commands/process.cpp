// SPDX-License-Identifier: MIT
// kt3 process: who holds how much of an adapter's memory, and whom they belong to.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/arguments.hpp"
#include "kt3/command_table.hpp"
#include "output/adapter.hpp"
#include "output/holders.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>

namespace kt3::cli {
namespace {

struct SortKey {
    const char* name;
    bool (*before)(const Holder& a, const Holder& b);
    bool (*group_before)(const HolderGroup& a, const HolderGroup& b); // null: groups have no such thing
};

template<typename Record>
bool larger(const Record& a, const Record& b) {
    return a.total() > b.total();
}
template<typename Record, std::size_t Segment>
bool larger_in(const Record& a, const Record& b) {
    return a.segments[Segment] > b.segments[Segment];
}

// clang-format off
constexpr SortKey kSortKeys[] = {
    {"total",    larger<Holder>, larger<HolderGroup>},
    {"pid",      [](const Holder& a, const Holder& b) { return a.owner.pid < b.owner.pid; }, nullptr},
    {"name",     [](const Holder& a, const Holder& b) { return a.owner.name < b.owner.name; },
                 [](const HolderGroup& a, const HolderGroup& b) { return a.key < b.key; }},
    {"device",   [](const Holder& a, const Holder& b) { return a.owner.device < b.owner.device; }, nullptr},
    {"segment0", larger_in<Holder, 0>, larger_in<HolderGroup, 0>},
    {"segment1", larger_in<Holder, 1>, larger_in<HolderGroup, 1>},
    {"segment2", larger_in<Holder, 2>, larger_in<HolderGroup, 2>},
    {"segment3", larger_in<Holder, 3>, larger_in<HolderGroup, 3>},
    {"others",   larger_in<Holder, 4>, larger_in<HolderGroup, 4>},
};
// clang-format on

struct Arguments {
    std::optional<std::int32_t> pid;
    std::string name; // a part of it
    std::string sort = kSortKeys[0].name;
    std::string by = kGroupings[0].word;
    std::size_t top = SIZE_MAX;
    bool orphans = false;
    bool gate = false;
    Repetition repetition;

    [[nodiscard]] bool grouped() const { return grouping_of(by).name != nullptr; }
};

std::vector<std::string> sort_names() {
    std::vector<std::string> names;
    for (const SortKey& key : kSortKeys) {
        names.emplace_back(key.name);
    }
    return names;
}

const SortKey& sort_key(const Arguments& arguments) {
    return *std::find_if(std::begin(kSortKeys), std::end(kSortKeys),
                         [&](const SortKey& row) { return row.name == arguments.sort; });
}

void check(const Arguments& arguments) {
    if (arguments.gate && !arguments.orphans) {
        throw Failure{ExitStatus::usage, "usage", "--gate goes with --orphans", "kt3 process --orphans --gate"};
    }
    if (arguments.grouped() && sort_key(arguments).group_before == nullptr) {
        throw Failure{ExitStatus::usage, "usage",
                      fmt::format("--sort {} does not go with --by {}", arguments.sort, arguments.by),
                      "sort by total, name or a segment"};
    }
}

// Those that the arguments let through, in their order.
void choose(std::vector<Holder>& holders, const Arguments& arguments) {
    std::erase_if(holders, [&](const Holder& holder) {
        const bool wanted = (!arguments.pid || holder.owner.pid == arguments.pid) &&
                            (arguments.name.empty() || holder.owner.name.find(arguments.name) != std::string::npos) &&
                            (!arguments.orphans || holder.owner.ended);
        return !wanted;
    });
    std::stable_sort(holders.begin(), holders.end(), sort_key(arguments).before);
}

// An owner that cannot be looked at may have ended, too, so the list of those that have is not complete.
void note_hidden(Session& session, const Adapter& adapter, std::span<const Holder> holders) {
    const auto hidden =
        std::count_if(holders.begin(), holders.end(), [](const Holder& holder) { return is_hidden(holder.owner); });
    if (hidden != 0) {
        note_error(session.report,
                   {ExitStatus::permission, "not_visible",
                    fmt::format("GPU {}: {} owners are not visible here; whether they have ended is not known",
                                adapter.slot, hidden),
                    "run kt3 outside of containers, and as root where /proc hides processes", adapter.slot});
    }
}

void show_rest(Session& session, std::size_t all, std::size_t shown) {
    if (format_of(session) == Format::text && shown < all) {
        session.text += fmt::format("{} more\n", all - shown);
    }
}

void show_holders(Session& session, const Adapter& adapter, const std::vector<Holder>& holders,
                  const Attributions& attributions, std::size_t top) {
    std::vector<OwnedMemory> shown;
    for (std::size_t at = 0; at < std::min(holders.size(), top); ++at) {
        shown.push_back(owned_memory(holders[at], attributions));
        session.report.members["processes"].push_back(holder_object(place_of(adapter), shown.back()));
    }
    show_table(session, holder_table(place_of(adapter), shown, format_of(session)), adapter_heading(session, adapter));
    show_rest(session, holders.size(), shown.size());
}

void show_groups(Session& session, const Adapter& adapter, std::vector<HolderGroup> groups,
                 const Arguments& arguments) {
    std::stable_sort(groups.begin(), groups.end(), sort_key(arguments).group_before);
    const std::span<const HolderGroup> shown(groups.data(), std::min(groups.size(), arguments.top));
    for (const HolderGroup& group : shown) {
        session.report.members["groups"].push_back(group_object(place_of(adapter), group));
    }
    show_table(session, group_table(place_of(adapter), shown, grouping_of(arguments.by), format_of(session)),
               adapter_heading(session, adapter));
    show_rest(session, groups.size(), shown.size());
}

// Returns whether memory of processes that have ended is among what was asked for.
bool show(Session& session, const Adapter& adapter, const HoldersRead& read, const Arguments& arguments) {
    note_failures(session, read.failures);
    std::vector<Holder> holders = read.holders;
    if (arguments.orphans) {
        note_hidden(session, adapter, holders);
    }
    choose(holders, arguments);
    if (arguments.grouped()) {
        show_groups(session, adapter, group_holders(grouping_of(arguments.by), holders, read.attributions), arguments);
    } else {
        show_holders(session, adapter, holders, read.attributions, arguments.top);
    }
    return std::any_of(holders.begin(), holders.end(), [](const Holder& holder) { return holder.owner.ended; });
}

ExitStatus run_process(Session& session, const Arguments& arguments) {
    check(arguments);
    return repeat(session, arguments.repetition, [&] {
        session.report.members["by"] = arguments.by;
        session.report.members["processes"] = Json::array();
        session.report.members["groups"] = Json::array();
        bool orphans = false;
        const ExitStatus status =
            for_each_look(session, {Group::holders}, [&](const Adapter& adapter, const Observation& look) {
                orphans = show(session, adapter, look.holders.get(), arguments) || orphans;
            });
        return status == ExitStatus::ok && orphans && arguments.gate ? ExitStatus::gate : status;
    });
}

} // namespace

std::vector<DocumentForm> describe_process() {
    return {{{"process"},
             form_of(kAdapterColumns),
             {{"by", {{"enum", grouping_words()}}},
              {"processes", array_form(holder_form())},
              {"groups", array_form(group_form())}}}};
}

void add_process(CLI::App& app, Options& options, Chosen& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& process = add_command(app, "process", "Show which processes hold how much memory of an adapter", options,
                                    chosen, {.gpu = true, .csv = true},
                                    [arguments](Session& session) { return run_process(session, *arguments); });
    add_number(process, {"--pid", "Only this process", "PID"}, {0, INT32_MAX}, arguments->pid);
    add_text(process, {"--name", "Only processes whose name has this part", "TEXT"}, arguments->name);
    add_word(process, {"--by", "Add up by what the processes belong to", "WHAT"}, grouping_words(), arguments->by);
    add_flag(process, {"--orphans", "Only memory of processes that have ended"}, arguments->orphans);
    add_flag(process, {"--gate", "With --orphans: end with status 6 when there is any"}, arguments->gate);
    add_word(process, {"--sort", "What comes first: the largest total, or by another column", "COLUMN"}, sort_names(),
             arguments->sort);
    add_number(process, {"--top", "Only the first ones of each adapter", "COUNT"}, {1, INT32_MAX}, arguments->top);
    add_repetition(process, arguments->repetition);
}

} // namespace kt3::cli
