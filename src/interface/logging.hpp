// SPDX-License-Identifier: MIT
#pragma once
// The one log channel: finished lines for the callback that the client has installed.

#include <cstdarg>

namespace kt3::interface {

// Formats as printf does and hands the line, cut at 1023 characters, to the callback; nothing without one.
[[gnu::format(printf, 1, 2)]] void log(const char* format, ...);
[[gnu::format(printf, 1, 0)]] void log_arguments(const char* format, std::va_list arguments);

// Whether there is a callback, for lines that are costly to put together.
bool is_logging();

// Makes printf itself the callback: clients compare the pointer with printf to see whether one was installed.
void print_through_printf();

} // namespace kt3::interface
