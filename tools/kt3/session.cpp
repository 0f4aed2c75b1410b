// SPDX-License-Identifier: MIT
#include "kt3/session.hpp"

#include "observe/interrupt.hpp"
#include "observe/library/log_capture.hpp"
#include "output/screen_text.hpp"

#include <cstdio>
#include <stdexcept>

namespace kt3::cli {
namespace {

void show_words(const std::string& line) {
    std::fprintf(stderr, "%s\n", screen_safe(line).c_str());
}

} // namespace

const Library& library_of(Session& session) {
    if (!session.opened) {
        const Words words{session.options.verbose, show_words};
        session.opened = std::make_unique<Library>(open_library(session.options.library, words));
        capture_log(*session.opened);
        session.report.interface_version = session.opened->calls.get_interface_version();
    }
    return *session.opened;
}

Settings settings_of(const Session& session) {
    const Options& options = session.options;
    return {options.library, options.verbose, options.wake, options.timeout, show_words};
}

Collector& collector_of(Session& session) {
    if (!session.collector) {
        session.collector = std::make_unique<Collector>(settings_of(session), std::move(session.ahead));
    }
    return *session.collector;
}

const MachineFacts& machine_of(Session& session) {
    const MachineSeen& machine = collector_of(session).machine();
    session.report.interface_version = machine.interface_version;
    return machine.facts;
}

std::vector<Observation> look_at(Session& session, const std::vector<const Adapter*>& adapters, const Groups& wanted) {
    const Waiting waiting = session.repeats ? Waiting::little : Waiting::to_the_end;
    std::vector<Observation> looks = collector_of(session).look(adapters, wanted, waiting);
    for (const Observation& look : looks) {
        for (const Failure& failure : look.failures) {
            note_error(session.report, failure);
            session.reading = session.reading == ExitStatus::ok ? failure.status : session.reading;
        }
    }
    return looks;
}

bool color_of(const Session& session) {
    return wants_color(session.options, session.output.is_terminal());
}

Screen screen_of(const Session& session) {
    return {color_of(session), session.output.is_terminal() ? terminal_width(session.output.standard_output()) : 0};
}

namespace {

void send_document(Session& session, bool compact) {
    write_document(session.report, compact, [&](std::string_view piece) { session.output.write(piece); });
}

} // namespace

void flush_sample(Session& session) {
    if (format_of(session) == Format::json) {
        send_document(session, true);
    } else {
        session.output.write(session.text);
    }
    session.streaming = true;
    session.text.clear();
    session.report.adapters = Json::array();
    session.report.members = Json::object();
    session.report.errors.clear();
}

void finish_output(Session& session) {
    if (format_of(session) == Format::json) {
        // After samples there is only an error left to tell, as one more line.
        if (!session.streaming || !session.report.errors.empty()) {
            send_document(session, session.streaming);
        }
    } else if (!session.text.empty()) {
        session.output.write(session.text);
    }
    session.output.finish();
}

void guarded(Report& report, const std::string& what, const std::function<void()>& calls) {
    try {
        calls();
    } catch (const std::logic_error& error) { // invalid_argument and out_of_range
        note_error(report, malformed_number(what, error));
    }
}

} // namespace kt3::cli
