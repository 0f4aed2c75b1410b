// SPDX-License-Identifier: MIT
#include "output/screen_text.hpp"

#include "observe/text.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::output {
namespace {

void append_escaped(std::string& into, std::string_view sequence) {
    const auto lead = static_cast<unsigned char>(sequence[0]);
    if (lead == '\n') {
        into += "\\n";
    } else if (lead == '\t') {
        into += "\\t";
    } else if (lead == '\r') {
        into += "\\r";
    } else if (lead < 0x20 || lead == 0x7F) {
        into += fmt::format("\\x{:02x}", lead);
    } else if (lead == 0xC2 && static_cast<unsigned char>(sequence[1]) < 0xA0) {
        into += fmt::format("\\u00{:02x}", static_cast<unsigned char>(sequence[1]));
    } else {
        into += sequence;
    }
}

} // namespace

std::string screen_safe(std::string_view text) {
    const std::string valid = observe::valid_utf8(text);
    std::string safe;
    for (std::string_view rest = valid; !rest.empty();) {
        const std::size_t length = observe::utf8_length(rest);
        append_escaped(safe, rest.substr(0, length));
        rest.remove_prefix(length);
    }
    return safe;
}

std::string_view characters_of(std::string_view text, std::size_t first, std::size_t count) {
    const auto skip = [](std::string_view rest, std::size_t characters) {
        std::size_t bytes = 0;
        for (; characters > 0 && bytes < rest.size(); --characters) {
            bytes += std::max<std::size_t>(observe::utf8_length(rest.substr(bytes)), 1);
        }
        return std::min(bytes, rest.size());
    };
    text.remove_prefix(skip(text, first));
    return text.substr(0, skip(text, count));
}

std::size_t character_count(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

} // namespace kt3::output
