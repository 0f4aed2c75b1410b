// SPDX-License-Identifier: MIT
#include "output/holders.hpp"

#include <array>

namespace kt3::output {
namespace {

std::int32_t device_of(const OwnedMemory& memory) {
    return memory.holder.owner.device;
}
std::optional<std::int32_t> pid_of(const OwnedMemory& memory) {
    return memory.holder.owner.pid;
}
std::optional<std::string> user_of(const OwnedMemory& memory) {
    return memory.by.user;
}
std::optional<std::string> state_of(const OwnedMemory& memory) {
    return memory.by.state;
}
std::string name_of(const OwnedMemory& memory) {
    return memory.holder.owner.name;
}
std::string process_of(const OwnedMemory& memory) {
    return process_text(memory.holder.owner) + (is_stuck(memory.by) ? " (stuck)" : "");
}
std::string belonging_of(const OwnedMemory& memory) {
    return memory.replaced ? "pid reused" : belonging_text(memory.by);
}
Bytes total_of(const OwnedMemory& memory) {
    return {memory.holder.total()};
}
template<std::size_t Segment>
Bytes held_in(const OwnedMemory& memory) {
    return {memory.holder.segments[Segment]};
}
Bytes sum_of(const HolderGroup& group) {
    return {group.total()};
}
template<std::size_t Segment>
Bytes sum_in(const HolderGroup& group) {
    return {group.segments[Segment]};
}

// clang-format off
// After the place. JSON has the owner, what it belongs to and the list of segments instead.
constexpr Column<OwnedMemory> kHolderColumns[] = {
    column<pid_of>             ("pid",                  "PID",       {.rank = Rank::stays}),
    column<user_of>            ("user",                 "USER",      {.forms = kText}),
    column<state_of>           ("state",                "STATE",     {.forms = kText}),
    column<device_of>          ("device",               "DEVICE",    {.rank = Rank::first}),
    column<held_in<0>>         ("segment0_bytes",       "SEGMENT 0"),
    column<held_in<1>>         ("segment1_bytes",       "SEGMENT 1"),
    column<held_in<2>>         ("segment2_bytes",       "SEGMENT 2"),
    column<held_in<3>>         ("segment3_bytes",       "SEGMENT 3"),
    column<held_in<4>>         ("other_segments_bytes", "OTHERS"),
    column<total_of>           ("total_bytes",          "TOTAL",     {.rank = Rank::stays}),
    column<name_of, process_of>("process",              "PROCESS",   {.rank = Rank::stays}),
    column<belonging_of>       ("owner",                "OWNER",     {.forms = kText, .rank = Rank::third}),
};

// The same; JSON has the list of segments.
constexpr auto kGroupColumns = std::to_array<Column<HolderGroup>>({
    column<name_in<HolderGroup>, text_in<HolderGroup>>("group", "GROUP", {.rank = Rank::stays}),
    column<kind_in<HolderGroup>>     ("kind",                 "",          {.forms = kCsv | kJson, .one_of = kGroupKinds}),
    column<&HolderGroup::processes>  ("processes",            "PROCESSES", {.least = 0, .rank = Rank::third}),
    column<sum_in<0>>                ("segment0_bytes",       "SEGMENT 0", {.forms = kText | kCsv}),
    column<sum_in<1>>                ("segment1_bytes",       "SEGMENT 1", {.forms = kText | kCsv}),
    column<sum_in<2>>                ("segment2_bytes",       "SEGMENT 2", {.forms = kText | kCsv}),
    column<sum_in<3>>                ("segment3_bytes",       "SEGMENT 3", {.forms = kText | kCsv}),
    column<sum_in<4>>                ("other_segments_bytes", "OTHERS",    {.forms = kText | kCsv}),
    column<sum_of>                   ("total_bytes",          "TOTAL",     {.rank = Rank::stays}),
});
// clang-format on

void add_segments(Json& form) {
    add_member(form, "segments_bytes", array_form({{"type", "integer"}}, KT3_SEGMENT_SLOTS));
}

} // namespace

OwnedMemory owned_memory(const Holder& holder, const observe::Attributions& attributions) {
    return {holder, attribution_of(holder.owner, attributions), is_replaced(holder.owner, attributions)};
}

Json holder_object(const Place& place, const OwnedMemory& memory) {
    Json object = object_of(kPlaceColumns, place);
    put_row(object, row_of(kOwnerColumns, memory.holder.owner, Format::json));
    put_row(object, row_of(kAttributionColumns, memory.by, Format::json));
    object["segments_bytes"] = memory.holder.segments;
    object["total_bytes"] = memory.holder.total();
    return object;
}

Table holder_table(const Place& place, std::span<const OwnedMemory> memory, Format format) {
    Table table;
    add_headings<Place>(table, kPlaceColumns, format);
    add_headings<OwnedMemory>(table, kHolderColumns, format);
    add_headings<Attribution>(table, kAttributionColumns, format);
    for (const OwnedMemory& one : memory) {
        Row row = row_of(kPlaceColumns, place, format);
        add_cells(row, kHolderColumns, one, format);
        add_cells(row, kAttributionColumns, one.by, format);
        add_row(table, row, format);
    }
    return table;
}

Json holder_form() {
    Json form = form_of(kPlaceColumns);
    add_columns<Owner>(form, kOwnerColumns);
    add_columns<Attribution>(form, kAttributionColumns);
    add_segments(form);
    add_member(form, "total_bytes", {{"type", "integer"}});
    return form;
}

Json group_object(const Place& place, const HolderGroup& group) {
    Json object = object_of(kPlaceColumns, place);
    put_row(object, row_of<HolderGroup>(kGroupColumns, group, Format::json));
    object["segments_bytes"] = group.segments;
    return object;
}

Table group_table(const Place& place, std::span<const HolderGroup> groups, const Grouping& grouping, Format format) {
    auto columns = kGroupColumns;
    columns[0].heading.text = grouping.heading;
    Table table;
    add_headings<Place>(table, kPlaceColumns, format);
    add_headings<HolderGroup>(table, columns, format);
    for (const HolderGroup& group : groups) {
        Row row = row_of(kPlaceColumns, place, format);
        add_cells<HolderGroup>(row, columns, group, format);
        add_row(table, row, format);
    }
    return table;
}

Json group_form() {
    Json form = form_of(kPlaceColumns);
    add_columns<HolderGroup>(form, kGroupColumns);
    add_segments(form);
    return form;
}

} // namespace kt3::output
