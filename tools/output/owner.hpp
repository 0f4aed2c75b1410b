// SPDX-License-Identifier: MIT
#pragma once
// Whom processes belong to, as text and as rows.

#include "observe/owner/groups.hpp"
#include "output/memory.hpp"

namespace kt3::output {

using observe::Attribution;
using observe::Belonging;
using observe::GroupKey;

// The nearest of what the process belongs to, short: "pod 0a1b2c3d", "container d0c4e1ab5e55", "job 1234",
// "unit streamd.service". Empty when it belongs to nothing.
[[nodiscard]] std::string belonging_text(const Attribution& attribution);

// Whether the process cannot let go of its memory: it waits in the kernel, or nobody asks how it ended.
[[nodiscard]] bool is_stuck(const Attribution& attribution);

[[nodiscard]] std::string group_text(const GroupKey& key);                 // the name, "(none)", "(ended)"
[[nodiscard]] std::optional<std::string> group_name(const GroupKey& key);  // of a named one
[[nodiscard]] const char* group_kind(const GroupKey& key);                 // one of kGroupKinds
inline constexpr const char* kGroupKinds = "named none ended not_visible"; // by the value of Belonging

// clang-format off
// On screen a row says it in fewer words.
inline constexpr Column<Attribution> kAttributionColumns[] = {
    column<&Attribution::user>     ("user",      "", {.forms = kCsv | kJson}),
    column<&Attribution::uid>      ("uid",       "", {.forms = kCsv | kJson, .least = 0, .most = UINT32_MAX}),
    column<&Attribution::state>    ("state",     "", {.forms = kCsv | kJson, .pattern = "^[A-Za-z]$"}),
    column<&Attribution::unit>     ("unit",      "", {.forms = kCsv | kJson}),
    column<&Attribution::container>("container", "", {.forms = kCsv | kJson}),
    column<&Attribution::runtime>  ("runtime",   "", {.forms = kCsv | kJson}),
    column<&Attribution::pod>      ("pod",       "", {.forms = kCsv | kJson}),
    column<&Attribution::job>      ("job",       "", {.forms = kCsv | kJson}),
};
// clang-format on

// Columns of records that have a key and a number of processes.
template<typename Group>
[[nodiscard]] std::optional<std::string> name_in(const Group& group) {
    return group_name(group.key);
}
template<typename Group>
[[nodiscard]] std::string text_in(const Group& group) {
    return group_text(group.key);
}
template<typename Group>
[[nodiscard]] const char* kind_in(const Group& group) {
    return group_kind(group.key);
}

} // namespace kt3::output
