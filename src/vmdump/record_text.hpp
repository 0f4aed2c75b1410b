#pragma once
// Text fields of the dump records: 47 characters and a terminator.

#include <cstddef>
#include <string_view>

namespace kt3::vmdump {

inline constexpr std::size_t kFieldSize = 48;

// Says on standard error which field is too long, and aborts. Clients have never been given a cut address or name.
[[noreturn]] void end_over_long_field(const char* field_name, std::size_t length);

// The text must not hold a zero byte. The rest of the field is left alone.
inline void copy_field(char (&field)[kFieldSize], std::string_view text, const char* field_name) {
    if (text.size() >= kFieldSize) {
        end_over_long_field(field_name, text.size());
    }
    text.copy(field, text.size());
    field[text.size()] = '\0';
}

} // namespace kt3::vmdump
