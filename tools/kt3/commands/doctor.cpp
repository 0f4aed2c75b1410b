// SPDX-License-Identifier: MIT
// kt3 doctor: what stands between the user and full readings, each finding with its fix. Nothing is bound or changed.

#include "kt3/command_table.hpp"
#include "observe/machine_checks.hpp"
#include "output/adapter.hpp"
#include "output/schema.hpp"
#include "output/text_table.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

constexpr std::size_t kLevelWidth = 7;
constexpr std::size_t kCheckWidth = 10;

const char* level_word(Level level) {
    return level == Level::ok ? "ok" : level == Level::note ? "note" : "problem";
}

Paint level_paint(Level level) {
    return level == Level::ok ? Paint::good : level == Level::note ? Paint::plain : Paint::bad;
}

const char* level_of(const Finding& finding) {
    return level_word(finding.level);
}

std::optional<std::string> fix_of(const Finding& finding) {
    return finding.fix.empty() ? std::nullopt : std::optional(finding.fix);
}

constexpr Column<Finding> kFindingColumns[] = {
    member<&Finding::check>("check"),
    member<&Finding::code>("code"),
    member<level_of>("level", {.one_of = "ok note problem"}),
    member<&Finding::slot>("slot"),
    member<&Finding::message>("message"),
    member<fix_of>("fix"),
};

std::string finding_lines(const Finding& finding, const Screen& screen) {
    const std::string where = finding.slot ? fmt::format("GPU {}: ", *finding.slot) : "";
    const std::string level = fmt::format("{:<{}}", level_word(finding.level), kLevelWidth);
    const std::string line = fact_list({{level + "  " + finding.check, where + finding.message}}, 0,
                                       kLevelWidth + 2 + kCheckWidth, screen.width);
    std::string text = painted(level, level_paint(finding.level), screen.color) + line.substr(level.size());
    if (!finding.fix.empty()) {
        text += fact_list({{"", "fix: " + finding.fix}}, kLevelWidth + 2, kCheckWidth, screen.width);
    }
    return text;
}

// A missing driver part explains missing rights and readings, so it decides.
ExitStatus status_of(const Findings& findings) {
    for (const ExitStatus status :
         {ExitStatus::driver, ExitStatus::permission, ExitStatus::not_found, ExitStatus::failure}) {
        const bool met = std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
            return finding.level == Level::problem && finding.status == status;
        });
        if (met) {
            return status;
        }
    }
    return ExitStatus::ok;
}

// "Healthy" only when nothing is missing.
std::string verdict_of(const Findings& findings) {
    const auto count = [&](Level level) {
        return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(),
                                                      [&](const Finding& finding) { return finding.level == level; }));
    };
    if (count(Level::problem) == 0 && count(Level::note) == 0) {
        return "Healthy.";
    }
    const std::string notes = counted(count(Level::note), "note", "notes");
    return count(Level::problem) == 0 ? "No problem, " + notes + "."
                                      : counted(count(Level::problem), "problem", "problems") +
                                            (count(Level::note) == 0 ? "" : ", " + notes) + ".";
}

bool library_answers(const Findings& findings) {
    return std::none_of(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.code == "library_missing" || finding.code == "timeout";
    });
}

ExitStatus run_doctor(Session& session) {
    const Findings findings = collector_of(session).check();
    const Screen screen = screen_of(session);
    session.report.members["findings"] = array_of(kFindingColumns, findings);
    for (const Finding& finding : findings) {
        session.text += finding_lines(finding, screen);
    }
    if (library_answers(findings)) {
        for (const Adapter& adapter : machine_of(session).adapters) {
            session.report.adapters.push_back(identity_of(adapter));
        }
    }
    session.text += '\n' + verdict_of(findings) + '\n';
    return status_of(findings);
}

} // namespace

std::vector<DocumentForm> describe_doctor() {
    return {{{"doctor"}, form_of(kAdapterColumns), {{"findings", array_form(form_of(kFindingColumns))}}}};
}

void add_doctor(CLI::App& app, Options& options, Chosen& chosen) {
    CLI::App& doctor =
        add_command(app, "doctor", "Look for what is missing and say how to mend it", options, chosen, {}, run_doctor);
    add_timeout(doctor, options);
}

} // namespace kt3::cli
