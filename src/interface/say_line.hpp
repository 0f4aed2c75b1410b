// SPDX-License-Identifier: MIT
#pragma once
// Plain standard output: fixed lines that clients see whatever print callback they installed.

#include <cstdio>

namespace kt3::interface {

// Writes the text and a newline.
inline void say_line(const char* text) {
    std::puts(text);
}

} // namespace kt3::interface
