// SPDX-License-Identifier: MIT
#include "kt3/repeated.hpp"

#include "kt3/arguments.hpp"
#include "observe/interrupt.hpp"

namespace kt3::cli {
namespace {

constexpr const char* kClearScreen = "\x1b[H\x1b[2J";

// What stands between one look and the next.
std::string separator(const Session& session, bool first) {
    if (format_of(session) != Format::text) {
        return "";
    }
    return session.output.is_terminal() ? kClearScreen : first ? "" : "\n";
}

} // namespace

void add_repetition(CLI::App& command, Repetition& repetition) {
    add_seconds(command,
                {"-w,--wait", "Look again after so many seconds; without --count until interrupted", "SECONDS"},
                repetition.wait);
    add_number(command, {"-n,--count", "How often to look", "COUNT"}, {1, 1'000'000'000'000}, repetition.count);
}

ExitStatus repeat(Session& session, const Repetition& repetition, const std::function<ExitStatus()>& look) {
    if (repetition.once()) {
        return look();
    }
    const std::uint64_t count = repetition.count.value_or(0); // 0: until interrupted
    session.output.follow();
    session.repeats = true;
    session.streaming = true; // a failure before the first sample is one line of JSON, too
    ExitStatus status = ExitStatus::ok;
    for (std::uint64_t number = 0; count == 0 || number < count; ++number) {
        if (number > 0) {
            sleep_or_interrupt(repetition.wait.value_or(kUsualWait));
        }
        const ExitStatus ended = look();
        status = status == ExitStatus::ok ? ended : status;
        if (format_of(session) == Format::csv && number > 0) { // the heading stands once
            session.text.erase(0, session.text.find('\n') + 1);
        }
        session.text.insert(0, separator(session, number == 0));
        session.report.members["sample"] = number;
        flush_sample(session);
    }
    return status;
}

} // namespace kt3::cli
