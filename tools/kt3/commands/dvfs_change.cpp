// SPDX-License-Identifier: MIT
#include "kt3/commands/dvfs_change.hpp"

#include "observe/interrupt.hpp"
#include "output/adapter.hpp"
#include "output/schema.hpp"
#include "output/screen_text.hpp"

#include <cerrno>
#include <cstdio>
#include <fmt/format.h>
#include <unistd.h>

namespace kt3::cli {
namespace {

std::string change_text(const DvfsChange& change) {
    return fmt::format("{}: {} -> {}", change.row->name, dvfs_text(*change.row, change.before),
                       dvfs_text(*change.row, change.wanted));
}

// Once it was sent: what is on standard output must not look like a change that the driver did not make.
std::string outcome_text(const DvfsChange& change) {
    return change_text(change) +
           (change.after == change.wanted ? "" : " rejected by the driver, still " + kept_text(change));
}

// A change as it is shown.
struct ShownChange {
    std::string name;
    std::string node;
    std::string command;
    std::int64_t before = 0;
    std::int64_t wanted = 0;
    std::optional<std::int64_t> after;
};

constexpr Column<ShownChange> kChangeColumns[] = {
    member<&ShownChange::name>("register"),   member<&ShownChange::node>("node"),
    member<&ShownChange::command>("command"), member<&ShownChange::before>("before"),
    member<&ShownChange::wanted>("wanted"),   member<&ShownChange::after>("after"),
};

void show(Session& session, const Adapter& adapter, const std::vector<DvfsChange>& changes, bool dry_run) {
    std::vector<ShownChange> rows;
    for (const DvfsChange& change : changes) {
        const ShownChange& row = rows.emplace_back(ShownChange{change.row->name, node_path(adapter, *change.row),
                                                               dvfs_command(*change.row, change.wanted), change.before,
                                                               change.wanted, change.after});
        session.text += dry_run ? fmt::format("{}: {}\n", row.node, row.command) : outcome_text(change) + '\n';
    }
    if (changes.empty()) {
        session.text += "nothing to change\n";
    }
    Json object = identity_of(adapter);
    object["dry_run"] = dry_run;
    object["changes"] = array_of(kChangeColumns, rows);
    session.report.adapters.push_back(std::move(object));
}

// Ends the line of a question that nobody ended with an answer, so that the next message has one of its own.
struct QuestionLine {
    bool ended = false;

    QuestionLine() = default;
    ~QuestionLine() {
        if (!ended) {
            std::fputc('\n', stderr);
        }
    }
    QuestionLine(const QuestionLine&) = delete;
    QuestionLine& operator=(const QuestionLine&) = delete;
};

// One line of the terminal; empty when the input ends before the line does. A signal ends it, also one that comes
// before the reading begins: a mere read would wait for a key then.
std::string read_answer() {
    constexpr double kLongWait = 3600;
    QuestionLine question;
    std::string answer;
    for (char next = 0;;) {
        while (!wait_readable(STDIN_FILENO, kLongWait)) {
        }
        const ssize_t got = ::read(STDIN_FILENO, &next, 1);
        if (got == 1 && next == '\n') {
            question.ended = true;
            return answer;
        }
        if (got == 0 || (got < 0 && errno != EINTR)) {
            return "";
        }
        answer += got == 1 ? std::string(1, next) : "";
    }
}

void ask(const Adapter& adapter, const std::vector<DvfsChange>& changes) {
    if (::isatty(STDIN_FILENO) != 1) {
        throw Failure{ExitStatus::usage, "not_confirmed", "a change needs --yes when there is no terminal to ask on",
                      "--dry-run shows what would be sent"};
    }
    for (const DvfsChange& change : changes) {
        std::fprintf(stderr, "%s\n", change_text(change).c_str());
    }
    std::fprintf(stderr, "Send this to GPU %d, %s? [y/N] ", adapter.slot, screen_safe(adapter.name).c_str());
    const std::string answer = read_answer();
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw Failure{ExitStatus::failure, "not_confirmed", "not confirmed; nothing was sent"};
    }
}

} // namespace

ExitStatus change_dvfs(Session& session, const Adapter& adapter, const std::vector<DvfsWish>& wishes,
                       const DvfsConsent& consent) {
    const Observation look = std::move(look_at(session, {&adapter}, {Group::dvfs}).front());
    std::vector<DvfsChange> changes = plan_changes(look.dvfs.get(), wishes);
    if (!consent.dry_run && !changes.empty()) {
        if (!consent.yes) {
            ask(adapter, changes);
        }
        changes = collector_of(session).send(adapter, wishes);
    }
    show(session, adapter, changes, consent.dry_run);
    if (!consent.dry_run) {
        check_taken(changes);
    }
    return ExitStatus::ok;
}

Json changed_adapter_form() {
    Json names = Json::array();
    for (const DvfsRegister& row : dvfs_registers()) {
        if (row.settable()) {
            names.push_back(row.name);
        }
    }
    Json change = form_of(kChangeColumns);
    change["properties"]["register"] = {{"enum", names}};
    Json form = form_of(kAdapterColumns);
    add_member(form, "dry_run", {{"type", "boolean"}});
    add_member(form, "changes", array_form(change));
    return form;
}

} // namespace kt3::cli
