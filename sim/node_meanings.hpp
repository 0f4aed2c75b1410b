// SPDX-License-Identifier: MIT
#pragma once
// What a driver makes of a text written to one of its nodes.

#include <optional>
#include <string>
#include <string_view>

namespace kt3::sim {

// The node's page after `text` was written to it; nothing when the driver can make nothing of the text.
std::optional<std::string> page_after_write(std::string_view node, std::string_view page, std::string_view text);

} // namespace kt3::sim
