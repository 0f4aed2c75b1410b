// SPDX-License-Identifier: MIT
#pragma once
// What a command works with. The library is opened and the machine enumerated when a command first asks for them.

#include "kt3/options.hpp"
#include "kt3/output_target.hpp"
#include "kt3/report.hpp"
#include "observe/adapter/machine.hpp"
#include "observe/library/library.hpp"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace kt3::cli {

// The frame and its commands speak of what was observed and of how it is shown in the same sentence.
using namespace observe;
using namespace output;

struct Session {
    const Options& options;
    Output& output;
    Report report;
    std::string text;       // what goes to the output in text and CSV
    bool streaming = false; // output is a stream of samples; set by its command or by flush_sample

    std::unique_ptr<Library> opened;  // by library_of
    std::unique_ptr<Machine> machine; // by machine_of
};

[[nodiscard]] const Library& library_of(Session& session);
[[nodiscard]] Machine& machine_of(Session& session);

[[nodiscard]] inline Format format_of(const Session& session) {
    return format_of(session.options);
}
[[nodiscard]] bool color_of(const Session& session);

// How text is to look: in a pipe or a file it is as wide as it takes.
[[nodiscard]] Screen screen_of(const Session& session);

// Sends out what has been gathered so far as one sample of a stream, and starts the next: text and CSV as they are,
// JSON as one line.
void flush_sample(Session& session);

// Sends out the rest: in JSON one document, also after a failure, or after samples one more line when something failed.
void finish_output(Session& session);

// A malformed number becomes an error of the report. `what` says what was being read.
void guarded(Report& report, const std::string& what, const std::function<void()>& calls);

} // namespace kt3::cli
