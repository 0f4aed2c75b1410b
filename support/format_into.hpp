// SPDX-License-Identifier: MIT
#pragma once
// Formats that stand in a table of facts, where the compiler cannot compare them with their arguments.

#include <cstddef>
#include <cstdio>

namespace kt3::support {

// As snprintf into the whole field: cut to what fits with a terminator.
template<std::size_t N, typename... Arguments>
void format_into(char (&field)[N], const char* format, Arguments... arguments) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(field, N, format, arguments...);
#pragma GCC diagnostic pop
}

} // namespace kt3::support
