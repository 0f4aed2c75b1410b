#include "observe/dvfs/changes.hpp"

#include "observe/interrupt.hpp"
#include "output/screen_text.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

namespace kt3::cli {
namespace {

struct Change {
    const DvfsRegister* row;
    std::int64_t before;
    std::int64_t wanted;
    std::optional<std::int64_t> after{}; // as read back
};

// Of two wishes for one register the later holds. In the order in which the driver receives them.
std::vector<Change> plan(const DvfsState& state, const std::vector<DvfsWish>& wishes) {
    std::vector<Change> changes;
    for (const DvfsRegister& row : dvfs_registers()) {
        const DvfsWish* last = nullptr;
        for (const DvfsWish& wish : wishes) {
            last = wish.row == &row ? &wish : last;
        }
        if (last == nullptr) {
            continue;
        }
        const Reading& reading = state.reading(row);
        if (!reading.present()) {
            throw Failure{reading.absence == Absence::permission ? ExitStatus::permission : ExitStatus::driver,
                          reason_code(reading.absence),
                          fmt::format("{} cannot be read from {}: {}; nothing was sent", row.name, row.node,
                                      reason_words(reading.absence))};
        }
        if (reading.value.get<std::int64_t>() != last->value) {
            changes.push_back({&row, reading.value.get<std::int64_t>(), last->value});
        }
    }
    return changes;
}

std::string node_path(const Adapter& adapter, const DvfsRegister& row) {
    return fmt::format("/sys/bus/pci/devices/{}/{}/{}", bus_text(adapter.bus), adapter.family->info_directory,
                       row.node);
}

std::string change_text(const Change& change) {
    return fmt::format("{}: {} -> {}", change.row->name, dvfs_text(*change.row, change.before),
                       dvfs_text(*change.row, change.wanted));
}

std::string kept_text(const Change& change) {
    return change.after ? dvfs_text(*change.row, *change.after) : "nothing that can be read";
}

// Once it was sent: what is on standard output must not look like a change that the driver did not make.
std::string outcome_text(const Change& change) {
    return change_text(change) + (change.after == change.wanted ? "" : ", not taken: it is " + kept_text(change));
}

void show(Session& session, const Adapter& adapter, const std::vector<Change>& changes, bool dry_run) {
    Json list = Json::array();
    for (const Change& change : changes) {
        const std::string path = node_path(adapter, *change.row);
        const std::string command = dvfs_command(*change.row, change.wanted);
        list.push_back({{"register", change.row->name},
                        {"node", path},
                        {"command", command},
                        {"before", change.before},
                        {"wanted", change.wanted},
                        {"after", change.after ? Json(*change.after) : Json(nullptr)}});
        session.text += dry_run ? fmt::format("{}: {}\n", path, command) : outcome_text(change) + '\n';
    }
    if (changes.empty()) {
        session.text += "nothing to change\n";
    }
    Json object = identity_of(adapter);
    object["dry_run"] = dry_run;
    object["changes"] = std::move(list);
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

void ask(const Adapter& adapter, const std::vector<Change>& changes) {
    if (::isatty(STDIN_FILENO) != 1) {
        throw Failure{ExitStatus::usage, "not_confirmed", "a change needs --yes when there is no terminal to ask on",
                      "--dry-run shows what would be sent"};
    }
    for (const Change& change : changes) {
        std::fprintf(stderr, "%s\n", change_text(change).c_str());
    }
    std::fprintf(stderr, "Send this to GPU %d, %s? [y/N] ", adapter.slot, screen_safe(adapter.name).c_str());
    const std::string answer = read_answer();
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw Failure{ExitStatus::failure, "not_confirmed", "not confirmed; nothing was sent"};
    }
}

// The library compares with the record it read last, so everything but the wishes is left alone.
void send(Session& session, const Adapter& adapter, const std::vector<DvfsWish>& wishes, std::vector<Change>& changes) {
    const Binding binding(session, adapter);
    const DvfsState fresh = read_dvfs(session, adapter); // asking may have taken its time
    changes = plan(fresh, wishes);
    DvfsRecord record = fresh.record;
    for (const Change& change : changes) {
        change.row->write(record, change.wanted);
    }
    check_interrupt();
    KT3_ENTRY(library_of(session), set_data_to_dvfs_register)(&record);
    const DvfsState told = read_dvfs(session, adapter);
    for (Change& change : changes) {
        const Reading& reading = told.reading(*change.row);
        change.after = reading.present() ? std::optional(reading.value.get<std::int64_t>()) : std::nullopt;
    }
}

void check_taken(const Adapter& adapter, const std::vector<Change>& changes) {
    for (const Change& change : changes) {
        if (change.after == change.wanted) {
            continue;
        }
        const Fd node(::openat(adapter.info_fd, change.row->node, O_WRONLY | O_CLOEXEC));
        if (!node && (errno == EACCES || errno == EPERM || errno == EROFS)) {
            throw Failure{
                ExitStatus::permission, "permission",
                fmt::format("{} may not be written; {} is {}", change.row->node, change.row->name, kept_text(change)),
                "run as root"};
        }
        throw Failure{ExitStatus::failure, "not_taken",
                      fmt::format("{} is {} after {} was sent to {}", change.row->name, kept_text(change),
                                  dvfs_text(*change.row, change.wanted), change.row->node),
                      "the driver decides what it takes; its log may say why"};
    }
}

} // namespace

ExitStatus change_dvfs(Session& session, const Adapter& adapter, const std::vector<DvfsWish>& wishes,
                       const DvfsConsent& consent) {
    std::vector<Change> changes = plan(read_dvfs(session, adapter), wishes);
    if (!consent.dry_run && !changes.empty()) {
        if (!consent.yes) {
            ask(adapter, changes);
        }
        send(session, adapter, wishes, changes);
    }
    show(session, adapter, changes, consent.dry_run);
    if (!consent.dry_run) {
        check_taken(adapter, changes);
    }
    return ExitStatus::ok;
}

} // namespace kt3::cli
