// SPDX-License-Identifier: MIT
#include "interface/logging.hpp"

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "support/percent_text.hpp"

#include <cstdio>

kt3_print_callback pServerPrintCallback = nullptr;

namespace kt3::interface {
namespace {

constexpr std::size_t kLineCapacity = 1024;

// Through the one function type that may be cast to any other.
kt3_print_callback printf_itself() {
    return reinterpret_cast<kt3_print_callback>(reinterpret_cast<void (*)()>(&std::printf));
}

// The default callback takes the finished line as its format. Lines carry texts of users (INI entries, process names),
// so a lone percent sign must not become a conversion there. Any other callback gets the line as it is.
void deliver(const char* line) {
    if (pServerPrintCallback != printf_itself()) {
        pServerPrintCallback(line);
        return;
    }
    char format[2 * kLineCapacity];
    support::double_lone_percents(line, format, sizeof format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::printf(format);
#pragma GCC diagnostic pop
}

} // namespace

void log_arguments(const char* format, std::va_list arguments) {
    if (!is_logging()) {
        return;
    }
    char line[kLineCapacity];
    line[0] = '\0'; // stays so if the text cannot be formatted at all
    // The analyzer loses track of va_start when it reads several files in one run.
    std::vsnprintf(line, sizeof line, format, arguments); // NOLINT(clang-analyzer-valist.Uninitialized)
    deliver(line);
}

void log(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    log_arguments(format, arguments);
    va_end(arguments);
}

bool is_logging() {
    return pServerPrintCallback != nullptr;
}

void print_through_printf() {
    pServerPrintCallback = printf_itself();
}

} // namespace kt3::interface

extern "C" KT3_EXPORT int32_t lib_print_func(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    kt3::interface::log_arguments(format, arguments);
    va_end(arguments);
    return 0;
}

extern "C" KT3_EXPORT int32_t set_print_callback(kt3_print_callback callback) {
    pServerPrintCallback = callback;
    kt3::interface::log("set_print_callback.\n");
    return 0;
}
