// SPDX-License-Identifier: MIT
#pragma once
// How a question to the library or the driver fails.

#include <optional>
#include <stdexcept>
#include <string>

namespace kt3::observe {

// What kind of failure it was; the process ends with its number.
enum class ExitStatus : int {
    ok = 0,
    failure = 1,
    usage = 2,
    not_found = 3,
    permission = 4,
    driver = 5,
    gate = 6,
    incomplete = 7,
    interrupted = 130,
    reader_left = 141,
};

// Ends what was being done.
struct Failure {
    ExitStatus status = ExitStatus::failure;
    std::string code; // one word for scripts
    std::string message;
    std::string fix{};               // what the user can do about it; may be empty
    std::optional<int> adapter = {}; // the slot it concerns
};

// A malformed number in what the driver publishes reaches us as an exception of the library. `what` was being read.
[[nodiscard]] Failure malformed_number(const std::string& what, const std::logic_error& error);

// Ends it after SIGINT, SIGTERM or SIGHUP.
struct Interrupted {};

// Ends it when nobody reads the output any more.
struct ReaderLeft {};

} // namespace kt3::observe
