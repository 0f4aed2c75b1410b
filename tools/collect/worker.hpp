// SPDX-License-Identifier: MIT
#pragma once
// The reader process: `kt3 --worker SUBJECT`. It owns the library, answers one request after the other on its two
// pipes and leaves when the requests end.
//
//     {"open": {"library", "verbose", "enumerate"}}    -> {"machine", "interface_version", "path"} or {"failure"}
//     {"look": [groups], "bus", "avoid", "wake"}       -> {"group", "value" or "failure"}..., {"done", "resident_kb"}
//     {"send": [wishes], "bus"}                        -> {"changes"} or {"failure"}
//     {"check": what}                                  -> {"findings"}
//     {"walk": folder, "names", "check_first", "only_process"} -> {"kind", "bytes"}...
//
// Lines of the library that somebody wants to see come in between: {"words": line}.

namespace kt3::collect {

inline constexpr const char* kWorkerOption = "--worker";

// Until the requests end. Does not return: what is still open belongs to the library, which is not called again.
[[noreturn]] void serve();

} // namespace kt3::collect
