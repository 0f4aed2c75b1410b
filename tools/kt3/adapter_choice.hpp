// SPDX-License-Identifier: MIT
#pragma once
// The adapters that --gpu names.

#include "kt3/session.hpp"
#include "observe/memory/allocations.hpp"

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

// Binds each of memory_adapters() and calls `look` for it. A Failure of one adapter becomes an error of the report and
// the others follow. Returns the status of the first failure.
ExitStatus for_each_bound(Session& session, const std::function<void(const Adapter&)>& look);

// The open devices; what went wrong while they were read becomes errors of the report.
[[nodiscard]] OpenDevices open_devices(Session& session, const Adapter& adapter);

} // namespace kt3::cli
