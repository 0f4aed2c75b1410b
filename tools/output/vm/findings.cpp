// SPDX-License-Identifier: MIT
#include "output/vm/findings.hpp"

#include "output/schema.hpp"
#include "output/screen_text.hpp"
#include "output/text_table.hpp"
#include "output/units.hpp"

#include <fmt/format.h>
#include <map>

namespace kt3::output {
namespace {

constexpr std::size_t kMostShown = 20; // of one kind

std::optional<int> line_of(const DumpFinding& finding) {
    return finding.line == 0 ? std::nullopt : std::optional(finding.line);
}

// " line 4 and 411 more lines"
std::string lines_text(const DumpFinding& finding) {
    if (finding.line == 0) {
        return "";
    }
    const auto more = static_cast<std::size_t>(finding.count - 1);
    return fmt::format(" line {}{}", finding.line, more == 0 ? "" : " and " + counted(more, "more line", "more lines"));
}

constexpr const char* kCodes =
    "bad_number missing_key over_long_field big_address dropped_lines permission unreadable timeout ended";

constexpr Column<DumpFinding> kFindingColumns[] = {
    member<&DumpFinding::entry>("entry"),     member<&DumpFinding::file>("file"),
    member<line_of>("line", {.least = 1}),    member<&DumpFinding::code>("code", {.one_of = kCodes}),
    member<&DumpFinding::message>("message"), member<&DumpFinding::count>("count", {.least = 1}),
};

} // namespace

std::string finding_line(const DumpFinding& finding) {
    const bool allocation = finding.file.find("/allocations/") != std::string::npos;
    const std::string file = finding.file.substr(finding.file.rfind('/') + 1);
    return fmt::format("{} {}{}{}: {}", allocation ? "allocation" : "client", finding.entry,
                       file == finding.entry ? "" : ", " + file, lines_text(finding), finding.message);
}

std::string findings_text(const std::vector<DumpFinding>& findings, const Screen& screen) {
    if (findings.empty()) {
        return "";
    }
    std::string text = painted("Findings", Paint::bad, screen.color) + '\n';
    std::map<std::string, std::size_t> seen; // by code
    for (const DumpFinding& finding : findings) {
        if (seen[finding.code]++ < kMostShown) {
            text += wrapped("  " + screen_safe(finding_line(finding)), screen.width, 4) + '\n';
        }
    }
    for (const auto& [code, count] : seen) {
        if (count > kMostShown) {
            text += fmt::format("  and {} more of the kind {}; --json has all\n", count - kMostShown, code);
        }
    }
    return text;
}

Json findings_json(const std::vector<DumpFinding>& findings) {
    return array_of(kFindingColumns, findings);
}

Json findings_form() {
    return array_form(form_of(kFindingColumns));
}

} // namespace kt3::output
