// SPDX-License-Identifier: MIT
#include "vmdump/line_fields.hpp"

#include "support/checked_numbers.hpp"
#include "support/text_edges.hpp"

#include <string>

namespace kt3::vmdump {
namespace {

using support::checked_int;

constexpr std::size_t kNowhere = std::string_view::npos;

// From `start` up to `end`, counted as std::string::substr counts: an end before the start wraps around and
// gives everything up to the end of the text.
std::string_view cut(std::string_view text, std::size_t start, std::size_t end) {
    if (start > text.size()) {
        (void)std::string(text).substr(start); // raises the error clients know, which names basic_string::substr
    }
    return text.substr(start, end - start);
}

} // namespace

std::string_view trim_end(std::string_view text) {
    return support::trimmed_end(text, " \n\r\t");
}

//   1:7: entry addr:0x1a20, buffer:text of the buffer
std::int32_t level_of_line(std::string_view line) {
    const std::size_t text = line.find_first_not_of(' ');
    line.remove_prefix(text == kNowhere ? 0 : text);
    const std::size_t colon = line.find(':');
    return colon == kNowhere ? -1 : checked_int(line.substr(0, colon), 10);
}

//   1:7: entry addr:0x1a20, buffer:text of the buffer
//   2:511 Snoop:1 Segment:0 LargePage:0 Addr:0x3f00
std::int32_t index_of_line(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == kNowhere) {
        return 0;
    }
    const char end = contains(line, "entry") ? ':' : ' ';
    return checked_int(cut(line, colon + 1, line.find(end, colon + 1)), 10);
}

std::string_view address_of_line(std::string_view line, std::string_view key) {
    const bool sub_table = contains(line, "Snoop");
    if (!sub_table && !contains(line, "entry")) {
        return {};
    }
    const std::size_t at = line.find(key);
    if (at == kNowhere) {
        return {};
    }
    if (sub_table) {
        return trim_end(line.substr(at + key.size()));
    }
    return cut(line, at + key.size(), line.find(',', at));
}

std::string_view buffer_of_line(std::string_view line, std::string_view key) {
    const std::size_t at = line.find(key);
    return at == kNowhere ? std::string_view() : trim_end(line.substr(at + key.size()));
}

//   2:511 Snoop:1 Segment:0 LargePage:0 Addr:0x3f00
std::int32_t sub_table_value(std::string_view line, std::string_view key) {
    const std::size_t at = line.find(key);
    return at == kNowhere ? 0 : checked_int(cut(line, at + key.size(), line.find(' ', at)), 10);
}

// gpu_va = 0x7f00
std::string_view node_value(std::string_view text, std::string_view key) {
    const std::size_t at = text.find(key);
    if (at == kNowhere) {
        return {};
    }
    // Without an equals sign after the key the start wraps around to the second character of the text; clients
    // rely on it.
    return cut(text, text.find('=', at) + 2, text.find('\n', at));
}

std::string_view pid_of_line(std::string_view line) {
    return buffer_of_line(line, "pid = ");
}

void set_level_flags(std::int32_t& in_level0, std::int32_t& in_level1, std::int32_t& in_level2, std::int32_t level) {
    in_level0 = level == 0 ? 1 : 0;
    in_level1 = level == 1 ? 1 : 0;
    in_level2 = level == 2 ? 1 : 0;
}

} // namespace kt3::vmdump
