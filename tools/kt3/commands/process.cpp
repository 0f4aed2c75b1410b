// SPDX-License-Identifier: MIT
// kt3 process: who holds how much of an adapter's memory.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/command_table.hpp"
#include "observe/memory/holders.hpp"
#include "output/adapter.hpp"
#include "output/memory.hpp"
#include "output/schema.hpp"

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
// Before them comes the slot. JSON has the owner and the list of segments instead.
constexpr Column<Holder> kHolderColumns[] = {
    column<pid_of>             ("pid",                  "PID"),
    column<device_of>          ("device",               "DEVICE"),
    column<segment_of<0>>      ("segment0_bytes",       "SEGMENT 0"),
    column<segment_of<1>>      ("segment1_bytes",       "SEGMENT 1"),
    column<segment_of<2>>      ("segment2_bytes",       "SEGMENT 2"),
    column<segment_of<3>>      ("segment3_bytes",       "SEGMENT 3"),
    column<segment_of<4>>      ("other_segments_bytes", "OTHERS"),
    column<total_of>           ("total_bytes",          "TOTAL"),
    column<name_of, process_of>("process",              "PROCESS"),
};
// clang-format on

Json holder_object(int slot, const Holder& holder) {
    Json object = slot_object(slot);
    put_row(object, row_of(kOwnerColumns, holder.owner, Format::json));
    object["segments_bytes"] = holder.segments;
    object["total_bytes"] = holder.total();
    return object;
}

Table holder_table(int slot, const std::vector<Holder>& holders, Format format) {
    Table table = slot_table();
    add_headings<Holder>(table, kHolderColumns, format);
    for (const Holder& holder : holders) {
        add_slot_row(table, slot, row_of(kHolderColumns, holder, format), format);
    }
    return table;
}

void look_at(Session& session, const Adapter& adapter) {
    const auto holders =
        read_holders(library_of(session), machine_of(session), adapter, open_devices(session, adapter));
    for (const Holder& holder : holders) {
        session.report.members["processes"].push_back(holder_object(adapter.slot, holder));
    }
    show_table(session, holder_table(adapter.slot, holders, format_of(session)), adapter_heading(session, adapter));
}

} // namespace

std::vector<DocumentForm> describe_process() {
    Json holder = slot_form();
    add_columns<Owner>(holder, kOwnerColumns);
    add_member(holder, "segments_bytes", array_form({{"type", "integer"}}, KT3_SEGMENT_SLOTS));
    add_member(holder, "total_bytes", {{"type", "integer"}});
    return {{{"process"}, form_of(kAdapterColumns), {{"processes", array_form(holder)}}}};
}

void add_process(CLI::App& app, Options& options, Chosen& chosen) {
    add_command(app, "process", "Show which processes hold how much memory of an adapter", options, chosen,
                {.gpu = true, .csv = true}, [](Session& session) {
                    session.report.members["processes"] = Json::array();
                    return for_each_bound(session, [&](const Adapter& adapter) { look_at(session, adapter); });
                });
}

} // namespace kt3::cli
