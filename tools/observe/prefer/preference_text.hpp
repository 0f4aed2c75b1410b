// SPDX-License-Identifier: MIT
#pragma once
// What a preference file can carry, and how its entries read.

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "observe/adapter/machine.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kt3::observe {

// The name an application is known by: what follows the last slash or backslash of its path.
[[nodiscard]] std::string application_name(std::string_view path);

// Why the file could not give the path, or the name that follows from it, back as it was; empty when it can. The file
// ends a value at a ";", a name at a "]" and a line at a newline, trims spaces, and its fields hold 63 and 511 bytes.
[[nodiscard]] std::string why_not_storable(const std::string& path);

// The same for the display name of the preferred GPU: 15 bytes.
[[nodiscard]] std::string why_no_gpu_name(const std::string& name);

struct Preference {
    std::string name;
    std::string path;
    std::int32_t value = 0;
    std::string gpu_name;
    BusId gpu_bus;
    bool operator==(const Preference&) const = default;
};

[[nodiscard]] Preference preference_in(const _UTIL_GPU_PREFERENCE_NODE& node);
// Bytes that no value fills are zero, so equal preferences are equal records.
[[nodiscard]] _UTIL_GPU_PREFERENCE_NODE node_of(const Preference& preference);

// The lines the file has for an entry, from its heading to its last key.
[[nodiscard]] std::string stored_lines(const Preference& preference);

// How many headings of this name a file has.
[[nodiscard]] int headings_in(std::string_view file, std::string_view name);

} // namespace kt3::observe
