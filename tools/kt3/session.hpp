// SPDX-License-Identifier: MIT
#pragma once
// What a command works with. Drivers are read by the collector's processes, which start when a command first asks for
// something; the library is opened here only for what is no driver's: preferences and versions.

#include "collect/collector.hpp"
#include "kt3/options.hpp"
#include "kt3/output_target.hpp"
#include "kt3/report.hpp"
#include "observe/library/library.hpp"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace kt3::cli {

// The frame and its commands speak of what was observed and of how it is shown in the same sentence.
using namespace collect;
using namespace observe;
using namespace output;

struct Session {
    const Options& options;
    Output& output;
    Report report{};
    std::string text{};     // what goes to the output in text and CSV
    bool streaming = false; // output is a stream of samples; set by its command or by flush_sample
    bool repeats = false;   // it is looked again and again, so that what is silent can be told later

    std::unique_ptr<Library> opened{};      // by library_of
    std::unique_ptr<WorkerProcess> ahead{}; // a reader that was started early
    std::unique_ptr<Collector> collector{}; // by collector_of
    ExitStatus reading = ExitStatus::ok;    // of the first reading that was not answered
};

[[nodiscard]] const Library& library_of(Session& session);
[[nodiscard]] Collector& collector_of(Session& session);
[[nodiscard]] Settings settings_of(const Session& session);
[[nodiscard]] const MachineFacts& machine_of(Session& session);

// One look at each of the adapters. What did not answer becomes an error of the report.
[[nodiscard]] std::vector<Observation> look_at(Session& session, const std::vector<const Adapter*>& adapters,
                                               const Groups& wanted);

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
