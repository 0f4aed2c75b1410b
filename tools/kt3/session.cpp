#include "kt3/session.hpp"

#include "observe/interrupt.hpp"
#include "observe/library/log_capture.hpp"

#include <fmt/format.h>
#include <stdexcept>

namespace kt3::cli {

const Library& library_of(Session& session) {
    if (!session.opened) {
        session.opened = std::make_unique<Library>(open_library(session.options.library, session.options.verbose));
        capture_log(*session.opened, session.options.verbose);
        session.report.interface_version = session.opened->calls.get_interface_version();
    }
    return *session.opened;
}

Machine& machine_of(Session& session) {
    if (!session.machine) {
        session.machine = std::make_unique<Machine>();
        enumerate(library_of(session), *session.machine);
        check_interrupt();
    }
    return *session.machine;
}

std::vector<const Adapter*> selected_adapters(Session& session) {
    return select_adapters(machine_of(session).adapters, session.options.gpu);
}

bool color_of(const Session& session) {
    return wants_color(session.options, session.output.is_terminal());
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

bool guarded(Session& session, const std::string& what, const std::function<void()>& calls) {
    try {
        calls();
        return true;
    } catch (const std::logic_error& error) { // invalid_argument and out_of_range
        note_error(session.report,
                   {ExitStatus::failure, "parse_error",
                    fmt::format("the driver published a malformed number in {} ({})", what, error.what()), ""});
        return false;
    }
}

Binding::Binding(Session& session, const Adapter& adapter) : library_(library_of(session)), slot_(adapter.slot) {
    Machine& machine = machine_of(session);
    check_interrupt();
    machine.record.current_index = adapter.slot;
    complete_ = library_.calls.gfx_global_init(&machine.record) != -1;
}

Binding::~Binding() {
    library_.calls.gfx_global_exit(slot_);
}

} // namespace kt3::cli
