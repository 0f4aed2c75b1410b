// SPDX-License-Identifier: MIT
// kt3 doctor: what stands between the user and full readings, each finding with its fix. Nothing is bound or changed.

#include "kt3/command_table.hpp"
#include "observe/machine_checks.hpp"
#include "output/adapter.hpp"
#include "output/schema.hpp"
#include "output/text_table.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

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
    member<level_of>("level", {.one_of = "ok note problem"}),
    member<&Finding::slot>("slot"),
    member<&Finding::message>("message"),
    member<fix_of>("fix"),
};

std::string finding_lines(const Finding& finding, bool color) {
    const std::string where = finding.slot ? fmt::format("GPU {}: ", *finding.slot) : "";
    std::string text = painted(fmt::format("{:<7}", level_word(finding.level)), level_paint(finding.level), color);
    text += "  " + fact_list({{finding.check, where + finding.message}}, 0, kCheckWidth);
    if (!finding.fix.empty()) {
        text += fact_list({{"", "fix: " + finding.fix}}, 9, kCheckWidth);
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

const Library* opened_library(Session& session, Findings& findings) {
    try {
        check_library(library_of(session), findings);
        return session.opened.get();
    } catch (const Failure& failure) {
        note_missing_library(failure, findings);
        return nullptr;
    }
}

Findings examine_machine(Session& session) {
    Findings findings;
    const Library* library = opened_library(session, findings);
    check_driver_places(findings);
    if (library != nullptr) {
        check_adapters(machine_of(session), findings);
    }
    check_programs(findings);
    return findings;
}

ExitStatus run_doctor(Session& session) {
    const Findings findings = examine_machine(session);
    const bool color = color_of(session);
    session.report.members["findings"] = array_of(kFindingColumns, findings);
    for (const Finding& finding : findings) {
        session.text += finding_lines(finding, color);
    }
    if (session.machine) {
        for (const Adapter& adapter : session.machine->adapters) {
            session.report.adapters.push_back(identity_of(adapter));
        }
    }
    const auto problems = std::count_if(findings.begin(), findings.end(),
                                        [](const Finding& finding) { return finding.level == Level::problem; });
    session.text +=
        problems == 0 ? "\nHealthy.\n" : fmt::format("\n{} problem{}.\n", problems, problems == 1 ? "" : "s");
    return status_of(findings);
}

} // namespace

std::vector<DocumentForm> describe_doctor() {
    return {{{"doctor"}, form_of(kAdapterColumns), {{"findings", array_form(form_of(kFindingColumns))}}}};
}

void add_doctor(CLI::App& app, Options& options, Chosen& chosen) {
    add_command(app, "doctor", "Look for what is missing and say how to mend it", options, chosen, {}, run_doctor);
}

} // namespace kt3::cli
