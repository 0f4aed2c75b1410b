// SPDX-License-Identifier: MIT
// What happens when the library is mapped and unmapped: one line each, and the default print callback.

#include "interface/logging.hpp"
#include "interface/say_line.hpp"

// Priority 100 runs before every other initialiser of the library, so the first line a client sees is ours and the
// callback is there for whatever runs next. The compiler reserves the range for system libraries and warns.
#if !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wprio-ctor-dtor"
#endif

__attribute__((constructor(100))) static void at_load() {
    kt3::interface::say_line("init_100_priority, init print callback.");
    kt3::interface::print_through_printf();
}

__attribute__((destructor(100))) static void at_unload() {
    kt3::interface::say_line("uninit_100_priority.");
}

#if !defined(__clang__)
#pragma GCC diagnostic pop
#endif
