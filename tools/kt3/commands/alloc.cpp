// SPDX-License-Identifier: MIT
// kt3 alloc: every allocation, and what they add up to.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/arguments.hpp"
#include "kt3/command_table.hpp"
#include "kt3/commands/alloc_diff.hpp"
#include "observe/memory/allocation_sums.hpp"
#include "output/adapter.hpp"
#include "output/owner.hpp"
#include "output/schema.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>

namespace kt3::cli {
namespace {

// ---- list -----------------------------------------------------------------------------------------------------------

using Record = _GFX_ALLOCATION_INFO;

struct Listed {
    Place place;
    Owner owner;
    Record record;
};

std::int32_t device_of(const Listed& listed) {
    return listed.owner.device;
}
std::optional<std::int32_t> pid_of(const Listed& listed) {
    return listed.owner.pid;
}
std::optional<std::string> known_name_of(const Listed& listed) {
    return known_process(listed.owner);
}
const char* kind_of(const Listed& listed) {
    return owner_kind(listed.owner);
}
std::string name_of(const Listed& listed) {
    return listed.owner.name;
}
std::string process_of(const Listed& listed) {
    return process_text(listed.owner);
}
Bytes size_of(const Listed& listed) {
    return {bytes_of(listed.record.size)};
}
template<auto Member>
std::int32_t field(const Listed& listed) {
    return listed.record.*Member;
}
std::string handle_text(const Listed& listed) {
    return fmt::format("{:#x}", listed.record.handle);
}

constexpr unsigned kNotOnScreen = kCsv | kJson;

// clang-format off
constexpr Column<Listed> kListColumns[] = {
    column<slot_in<Listed>>                    ("slot",            "GPU", {.least = 0, .most = 2, .rank = Rank::stays}),
    column<bus_in<Listed>>                     ("bdf",             "",    {.forms = kNotOnScreen}),
    column<device_of>                          ("device",          "DEVICE"),
    column<pid_of>                             ("pid",             "PID"),
    member<known_name_of>                      ("process"),
    member<kind_of>                            ("owner",           {.one_of = kOwnerKinds}),
    column<size_of>                            ("size_bytes",      "SIZE", {.least = 0, .most = UINT32_MAX}),
    column<field<&Record::handle>, handle_text>("handle",          "HANDLE"),
    member<handle_text>                        ("handle_hex"),
    column<field<&Record::width>>              ("width",           "WIDTH"),
    column<field<&Record::height>>             ("height",          "HEIGHT"),
    column<field<&Record::pitch>>              ("pitch",           "",        {.forms = kNotOnScreen}),
    column<field<&Record::bit_cnt>>            ("bit_cnt",         "BITS"),
    column<field<&Record::secured>>            ("secured",         "",        {.forms = kNotOnScreen}),
    column<field<&Record::tile>>               ("tile",            "",        {.forms = kNotOnScreen}),
    column<field<&Record::cpu_visible>>        ("cpu_visible",     "",        {.forms = kNotOnScreen}),
    column<field<&Record::cache_type>>         ("cache_type",      "",        {.forms = kNotOnScreen}),
    column<field<&Record::pool_type>>          ("pool_type",       "",        {.forms = kNotOnScreen}),
    column<field<&Record::at_type>>            ("at_type",         "TYPE"),
    column<field<&Record::segmentid>>          ("segment",         "SEGMENT"),
    column<field<&Record::hw_format>>          ("hw_format",       "FORMAT"),
    column<field<&Record::compress_format>>    ("compress_format", "",        {.forms = kNotOnScreen}),
    column<field<&Record::bl_slot_index>>      ("bl_slot_index",   "",        {.forms = kNotOnScreen}),
    column<field<&Record::gpu_virt_addr>>      ("gpu_virt_addr",   "",        {.forms = kNotOnScreen}),
    column<field<&Record::imported>>           ("imported",        "",        {.forms = kNotOnScreen}),
    column<field<&Record::fb_offset>>          ("fb_offset",       "",        {.forms = kNotOnScreen}),
    column<field<&Record::share>>              ("share",           "",        {.forms = kNotOnScreen}),
    column<name_of, process_of>                ("process",         "PROCESS", {.forms = kText | kCsv}),
};
// clang-format on

// By device and handle: the library leaves open in which order the allocations of one device come.
std::vector<Listed> listed(const Place& place, const Allocations& allocations, const OpenDevices& devices) {
    std::vector<Listed> list;
    for (const Record& record : allocations) {
        list.push_back({place, owner_of(record.device, devices), record});
    }
    std::sort(list.begin(), list.end(), [](const Listed& a, const Listed& b) {
        return std::pair(a.record.device, a.record.handle) < std::pair(b.record.device, b.record.handle);
    });
    return list;
}

void list_adapter(Session& session, const Adapter& adapter, const AllocationsRead& read) {
    note_failures(session, read.failures);
    const auto list = listed(place_of(adapter), read.allocations, read.devices);
    for (const Listed& one : list) {
        session.report.members["allocations"].push_back(object_of(kListColumns, one));
    }
    show_table(session, table_of(kListColumns, list, format_of(session)), adapter_heading(session, adapter));
}

ExitStatus run_list(Session& session, const Repetition& repetition) {
    return repeat(session, repetition, [&] {
        session.report.members["allocations"] = Json::array();
        return for_each_look(session, {Group::allocations}, [&](const Adapter& adapter, const Observation& look) {
            list_adapter(session, adapter, look.allocations.get());
        });
    });
}

// ---- summary --------------------------------------------------------------------------------------------------------

// A line on screen or in CSV. JSON has a list for each kind.
struct SumLine {
    Place place;
    std::string by;
    Tally tally;
    std::string what;
};

std::int64_t count_of(const SumLine& line) {
    return line.tally.count;
}
Bytes memory_of(const SumLine& line) {
    return {line.tally.bytes};
}

// clang-format off
constexpr Column<SumLine> kSumColumns[] = {
    column<slot_in<SumLine>>("slot",        "GPU", {.rank = Rank::stays}),
    column<bus_in<SumLine>> ("bdf",         "",    {.forms = kCsv}),
    column<&SumLine::by>    ("by",          "BY"),
    column<count_of>        ("allocations", "ALLOCATIONS"),
    column<memory_of>       ("bytes",       "MEMORY"),
    column<&SumLine::what>  ("what",        "WHAT"),
};
// clang-format on

constexpr const char* kSegmentNames[KT3_SEGMENT_SLOTS] = {"0", "1", "2", "3", "4 and later"};

Json with_tally(Json object, const Tally& tally) {
    put_row(object, row_of(kTallyColumns, tally, Format::json));
    return object;
}

// In JSON: owners added up by what they belong to.
constexpr Column<TallyGroup> kTallyGroupColumns[] = {
    member<name_in<TallyGroup>>("group"),
    member<kind_in<TallyGroup>>("kind", {.one_of = kGroupKinds}),
    member<&TallyGroup::processes>("processes", {.least = 0}),
};

// What the sums of an adapter are grouped by, and the groups; none where each process stands for itself.
struct OwnerGroups {
    const Grouping* grouping;
    std::vector<TallyGroup> groups;

    [[nodiscard]] bool any() const { return grouping->name != nullptr; }
};

Json owners_object(const AllocationSums& sums, const OwnerGroups& owners) {
    Json object = {{"processes", Json::array()}, {"groups", Json::array()}};
    for (const TallyGroup& group : owners.groups) {
        object["groups"].push_back(with_tally(object_of(kTallyGroupColumns, group), group.tally));
    }
    if (!owners.any()) {
        for (const auto& [owner, tally] : largest_first(sums.owners)) {
            object["processes"].push_back(with_tally(object_of(kOwnerColumns, owner), tally));
        }
    }
    return object;
}

Json sums_object(const Place& place, const AllocationSums& sums, const OwnerGroups& owners) {
    Json object = with_tally(object_of(kPlaceColumns, place), sums.all);
    object["segments"] = Json::array();
    object.update(owners_object(sums, owners));
    object["shapes"] = Json::array();
    for (std::size_t at = 0; at < sums.segments.size(); ++at) {
        object["segments"].push_back(with_tally({{"segment", kSegmentNames[at]}}, sums.segments[at]));
    }
    object["invalid_segment"] = with_tally({}, sums.misplaced);
    for (const auto& [shape, tally] : largest_first(sums.shapes)) {
        object["shapes"].push_back(with_tally(object_of(kShapeColumns, shape), tally));
    }
    return object;
}

// The groups as `sum_lines` takes them.
std::vector<std::pair<GroupKey, Tally>> tallies_of(const OwnerGroups& owners) {
    std::vector<std::pair<GroupKey, Tally>> tallies;
    for (const TallyGroup& group : owners.groups) {
        tallies.emplace_back(group.key, group.tally);
    }
    return tallies;
}

// The first `top` processes or groups of them and the first shapes, and what the others come to.
std::vector<SumLine> sum_lines(const Place& place, const AllocationSums& sums, const OwnerGroups& owners,
                               std::size_t top) {
    std::vector<SumLine> lines{{place, "all", sums.all, ""}};
    for (std::size_t at = 0; at < sums.segments.size(); ++at) {
        lines.push_back({place, "segment", sums.segments[at], kSegmentNames[at]});
    }
    if (sums.misplaced.count != 0) {
        lines.push_back({place, "segment", sums.misplaced, "invalid"});
    }
    const auto add = [&](const char* by, const auto& sorted, auto text) {
        for (std::size_t at = 0; at < std::min(top, sorted.size()); ++at) {
            lines.push_back({place, by, sorted[at].second, text(sorted[at].first)});
        }
        if (sorted.size() > top) {
            Tally rest;
            for (std::size_t at = top; at < sorted.size(); ++at) {
                rest.count += sorted[at].second.count;
                rest.bytes += sorted[at].second.bytes;
            }
            lines.push_back({place, by, rest, fmt::format("{} more", sorted.size() - top)});
        }
    };
    if (owners.any()) {
        add(owners.grouping->word, tallies_of(owners), group_text);
    } else {
        add(owners.grouping->word, largest_first(sums.owners), owner_text);
    }
    add("shape", largest_first(sums.shapes), shape_text);
    return lines;
}

struct SumArguments {
    std::size_t top = 10;
    std::string by = kGroupings[0].word;
    Repetition repetition;
};

OwnerGroups owner_groups(const AllocationSums& sums, const Grouping& grouping, const Attributions& attributions) {
    return {&grouping,
            grouping.name == nullptr ? std::vector<TallyGroup>() : group_tallies(grouping, sums.owners, attributions)};
}

void sum_adapter(Session& session, const Adapter& adapter, const AllocationsRead& read, const SumArguments& arguments) {
    note_failures(session, read.failures);
    const AllocationSums sums = sum_up(read.allocations, read.devices);
    const OwnerGroups owners = owner_groups(sums, grouping_of(arguments.by), read.attributions);
    session.report.members["allocation_summaries"].push_back(sums_object(place_of(adapter), sums, owners));
    const Format format = format_of(session);
    const auto lines = sum_lines(place_of(adapter), sums, owners, format == Format::csv ? SIZE_MAX : arguments.top);
    show_table(session, table_of(kSumColumns, lines, format), adapter_heading(session, adapter));
}

ExitStatus run_sums(Session& session, const SumArguments& arguments) {
    return repeat(session, arguments.repetition, [&] {
        session.report.members["by"] = arguments.by;
        session.report.members["allocation_summaries"] = Json::array();
        return for_each_look(session, {Group::allocations}, [&](const Adapter& adapter, const Observation& look) {
            sum_adapter(session, adapter, look.allocations.get(), arguments);
        });
    });
}

// A list whose rows have a tally after what they are of.
Json tallied(Json form) {
    add_columns<Tally>(form, kTallyColumns);
    return form;
}

Json sums_form() {
    Json segment = object_form();
    add_member(segment, "segment", {{"type", "string"}});
    Json form = tallied(form_of(kPlaceColumns));
    add_member(form, "segments", array_form(tallied(segment), KT3_SEGMENT_SLOTS));
    add_member(form, "processes", array_form(tallied(form_of(kOwnerColumns))));
    add_member(form, "groups", array_form(tallied(form_of(kTallyGroupColumns))));
    add_member(form, "shapes", array_form(tallied(form_of(kShapeColumns))));
    add_member(form, "invalid_segment", form_of(kTallyColumns));
    return form;
}

} // namespace

std::vector<DocumentForm> describe_alloc() {
    const Json adapter = form_of(kAdapterColumns);
    return {{{"alloc list"}, adapter, {{"allocations", array_form(form_of(kListColumns))}}},
            {{"alloc summary"},
             adapter,
             {{"by", {{"enum", grouping_words()}}}, {"allocation_summaries", array_form(sums_form())}}},
            {{"alloc diff"}, adapter, {{"difference", changes_form()}}}};
}

void add_alloc(CLI::App& app, Options& options, Chosen& chosen) {
    CLI::App& alloc = add_family(app, "alloc", "Show the memory allocated on an adapter");
    const Accepts accepts{.gpu = true, .csv = true};
    const auto repetition = std::make_shared<Repetition>();
    CLI::App& list = add_command(alloc, "list", "Show every allocation", options, chosen, accepts,
                                 [repetition](Session& session) { return run_list(session, *repetition); });
    add_repetition(list, *repetition);
    const auto sums = std::make_shared<SumArguments>();
    CLI::App& summary = add_command(alloc, "summary", "Add allocations up by segment, process and shape", options,
                                    chosen, accepts, [sums](Session& session) { return run_sums(session, *sums); });
    add_number(summary, {"--top", "Processes and shapes on screen (10); JSON and CSV have all", "COUNT"},
               {1, INT32_MAX}, sums->top);
    add_word(summary, {"--by", "Add processes up by what they belong to", "WHAT"}, grouping_words(), sums->by);
    add_repetition(summary, sums->repetition);
    add_alloc_diff(alloc, options, chosen);
}

} // namespace kt3::cli
