// SPDX-License-Identifier: MIT
#pragma once
// One value out of one line of a dump. Everything here is pure: it looks at the caller's text and copies nothing.
//
// Numbers follow the standard string-to-int conversion, errors "stoi" included. A value that would start after the
// end of its text raises the error that std::string::substr raises.

#include <cstdint>
#include <string_view>

namespace kt3::vmdump {

// The number before the first colon; -1, which is not a level, when there is no colon. Spaces may lead.
std::int32_t level_of_line(std::string_view line);

// The number between the first colon and the next colon (entry lines) or the next space (sub-table lines).
std::int32_t index_of_line(std::string_view line);

// The address after `key`: up to the next comma on entry lines, the trimmed rest of the line on sub-table lines,
// empty on any other line and when the key is missing.
std::string_view address_of_line(std::string_view line, std::string_view key);

// The trimmed rest of the line after `key`, or empty.
std::string_view buffer_of_line(std::string_view line, std::string_view key);

// The number between `key` and the next space; 0 when the key is missing.
std::int32_t sub_table_value(std::string_view line, std::string_view key);

// The value of a "key = value" line in a text of many lines; empty when the key is missing.
std::string_view node_value(std::string_view text, std::string_view key);

// The process id in "pid = 1234": what follows the first "pid = ", trimmed; empty when that is missing.
std::string_view pid_of_line(std::string_view line);

// Without trailing spaces, newlines, carriage returns and tabs.
std::string_view trim_end(std::string_view text);

// Which level the last page-table entry line had; all off before the first one.
void set_level_flags(std::int32_t& in_level0, std::int32_t& in_level1, std::int32_t& in_level2, std::int32_t level);

inline bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != text.npos;
}

} // namespace kt3::vmdump
