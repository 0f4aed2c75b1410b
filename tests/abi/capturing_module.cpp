// SPDX-License-Identifier: MIT
// Exports, under our names, functions that only count how often they are reached.

#include <cstdint>
#include <string>

#define KT3_VISIBLE __attribute__((visibility("default")))

extern "C" {
KT3_VISIBLE std::int32_t kt3_captured_calls = 0;

KT3_VISIBLE std::int32_t lib_print_func(const char*, ...);
KT3_VISIBLE std::int32_t lib_print_func(const char*, ...) {
    return ++kt3_captured_calls;
}
KT3_VISIBLE std::int32_t GetGPUPreference_config(void*, std::int32_t*);
KT3_VISIBLE std::int32_t GetGPUPreference_config(void*, std::int32_t*) {
    return ++kt3_captured_calls;
}
}

// The plain name and the encoded one, which a C++ function of this type gets by itself.
KT3_VISIBLE void plain_trim(char*) __asm__("trimWhitespace");
KT3_VISIBLE void plain_trim(char*) {
    ++kt3_captured_calls;
}
KT3_VISIBLE void trimWhitespace(char*);
KT3_VISIBLE void trimWhitespace(char*) {
    ++kt3_captured_calls;
}
KT3_VISIBLE std::int32_t parseINI(const char*);
KT3_VISIBLE std::int32_t parseINI(const char*) {
    return ++kt3_captured_calls;
}
KT3_VISIBLE std::int32_t util_init_config_files();
KT3_VISIBLE std::int32_t util_init_config_files() {
    return ++kt3_captured_calls;
}
KT3_VISIBLE std::string get_filename(std::string);
KT3_VISIBLE std::string get_filename(std::string path) {
    ++kt3_captured_calls;
    return path;
}
