// SPDX-License-Identifier: MIT
// kt3 info: everything about an adapter. It is bound while it is looked at, so that the state of its kernel-interface
// module shows.

#include "kt3/adapter_choice.hpp"
#include "kt3/command_table.hpp"
#include "output/adapter.hpp"
#include "output/schema.hpp"
#include "output/screen_text.hpp"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

constexpr std::size_t kLabelWidth = 18;

std::string vendor_text(const Adapter& adapter) {
    return fmt::format("{:#06x} ({})", adapter.vendor_id,
                       adapter.family == nullptr ? "another vendor" : adapter.family->name + std::string(" family"));
}

std::string node_text(const Adapter& adapter) {
    return "/dev/dri/" + card_name(adapter);
}

std::string luid_text(const Adapter& adapter) {
    return fmt::format("{:#010x}:{:#010x}", adapter.luid_high, adapter.luid_low);
}

// clang-format off
// The head of an adapter's page; JSON has its identity instead.
constexpr Column<Adapter> kHead[] = {
    column<&Adapter::bus>      ("", "Bus id"),
    column<vendor_text>        ("", "Vendor"),
    column<chip_of>            ("", "Chip"),
    column<node_text>          ("", "Node"),
    column<luid_text>          ("", "LUID"),
    column<&Adapter::va_driver>("", "VA driver"),
};
// clang-format on

const Groups kGroupsShown = {Group::driver, Group::versions, Group::live, Group::page, Group::link, Group::summary};

// Groups stand together; the link's last.
Row facts_of(const Observation& look, Format format) {
    Row row;
    add_cells(row, kDriverColumns, look.driver, format);
    add_cells(row, kVersionColumns, look.versions, format);
    add_cells(row, kLiveColumns, look.moving.live, format);
    add_cells(row, kSummaryColumns, look.summary, format);
    add_cells(row, kPageColumns, look.moving.page, format);
    add_cells(row, kLinkWidthColumns, look.moving, format);
    add_cells(row, kLinkGenerationColumns, look.moving.page, format);
    return row;
}

std::string capitalised(std::string text) {
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text;
}

std::string fact_line(const char* label, const Cell& cell, std::size_t indent, std::size_t label_width,
                      const Screen& screen) {
    return fact_list({{label, shown(cell.value, cell.heading->look.unit)}}, indent, label_width, screen.width);
}

// One line when all facts of a group are absent for the same reason.
std::string group_lines(std::span<const Cell> group, const Screen& screen) {
    const Cell& first = group.front();
    const std::string heading = capitalised(first.heading->look.group);
    const bool same = std::all_of(group.begin(), group.end(),
                                  [&](const Cell& cell) { return cell.value.why() == first.value.why(); });
    if (same && first.value.why()) {
        return fact_line(heading.c_str(), first, 2, kLabelWidth + 2, screen);
    }
    std::string text = "  " + painted(heading, Paint::bold, screen.color) + '\n';
    for (const Cell& cell : group) {
        text += fact_line(cell.heading->text, cell, 4, kLabelWidth, screen);
    }
    return text;
}

std::string page_of(const Adapter& adapter, const Row& facts, const Screen& screen) {
    const std::string heading = fmt::format("GPU {}  {}", adapter.slot, screen_safe(adapter.name));
    std::string text = painted(heading, Paint::bold, screen.color) + '\n';
    for (const Cell& cell : row_of(kHead, adapter, Format::text)) {
        text += fact_line(cell.heading->text, cell, 2, kLabelWidth + 2, screen);
    }
    for (auto group = facts.begin(); group != facts.end();) {
        const std::string_view name = group->heading->look.group;
        const auto end =
            std::find_if(group, facts.end(), [&](const Cell& cell) { return cell.heading->look.group != name; });
        text += group_lines({group, end}, screen);
        group = end;
    }
    return text;
}

ExitStatus run_info(Session& session) {
    const std::vector<const Adapter*> adapters = selected_adapters(session);
    const std::vector<Observation> looks = look_at(session, adapters, kGroupsShown);
    for (std::size_t at = 0; at < adapters.size(); ++at) {
        const Row facts = facts_of(looks[at], format_of(session));
        note_absences(session.report, adapters[at]->slot, facts);
        Json object = identity_of(*adapters[at]);
        put_row(object, facts);
        session.report.adapters.push_back(std::move(object));
        session.text += (session.text.empty() ? "" : "\n") + page_of(*adapters[at], facts, screen_of(session));
    }
    return ExitStatus::ok;
}

} // namespace

std::vector<DocumentForm> describe_info() {
    Json adapter = form_of(kAdapterColumns);
    add_columns<DriverState>(adapter, kDriverColumns);
    add_columns<Versions>(adapter, kVersionColumns);
    add_columns<LiveReadings>(adapter, kLiveColumns);
    add_columns<AdapterSummary>(adapter, kSummaryColumns);
    add_columns<DriverPage>(adapter, kPageColumns);
    add_columns<MovingReadings>(adapter, kLinkWidthColumns);
    add_columns<DriverPage>(adapter, kLinkGenerationColumns);
    return {{{"info"}, adapter}};
}

void add_info(CLI::App& app, Options& options, Chosen& chosen) {
    add_command(app, "info", "Show what is known about an adapter", options, chosen, {.gpu = true}, run_info);
}

} // namespace kt3::cli
