// SPDX-License-Identifier: MIT
#pragma once
// The adapters that --gpu names.

#include "kt3/session.hpp"

namespace kt3::cli {

// Whether the values of --gpu stand for all adapters.
[[nodiscard]] bool names_all(const std::vector<std::string>& gpus);

// The adapters that the values of --gpu name, in the order of their slots. Throws Failure with the valid values when
// one of them fits none.
[[nodiscard]] std::vector<const Adapter*> select_adapters(const std::vector<Adapter>& adapters,
                                                          const std::vector<std::string>& gpus);

// The same of the session's machine and option.
[[nodiscard]] std::vector<const Adapter*> selected_adapters(Session& session);

// Says which adapters the library has no slot for, if there are any: who lists all adapters must not hide them.
void note_left_out(Session& session);

// Those of them that can hold allocations; throws Failure when there is none.
[[nodiscard]] std::vector<const Adapter*> memory_adapters(Session& session);

// Looks at the memory_adapters() and calls `show` for each. A Failure of one adapter becomes an error of the report and
// the others follow. Returns the status of the first failure.
ExitStatus for_each_look(Session& session, const Groups& wanted,
                         const std::function<void(const Adapter&, const Observation&)>& show);

// Failures that left something out of a value become errors of the report.
void note_failures(Session& session, const std::vector<Failure>& failures);

} // namespace kt3::cli
