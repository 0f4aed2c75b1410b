#include "output/screen_text.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct LeadByte {
    unsigned char first, last; // of the lead byte
    unsigned char length;
    // Narrower than 80..BF where that would be overlong, a surrogate or too big.
    unsigned char second_first, second_last;
};

// clang-format off
constexpr LeadByte kLeadBytes[] = {
    {0x00, 0x7F, 1, 0x00, 0x00},
    {0xC2, 0xDF, 2, 0x80, 0xBF},
    {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF},
    {0xED, 0xED, 3, 0x80, 0x9F},
    {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF},
    {0xF1, 0xF3, 4, 0x80, 0xBF},
    {0xF4, 0xF4, 4, 0x80, 0x8F},
};
// clang-format on

bool within(unsigned char byte, unsigned char first, unsigned char last) {
    return byte >= first && byte <= last;
}

// Length of the sequence that `text` begins with; 0 when it is none.
std::size_t sequence_length(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    for (const LeadByte& row : kLeadBytes) {
        if (!within(byte(0), row.first, row.last)) {
            continue;
        }
        if (row.length > text.size() || (row.length > 1 && !within(byte(1), row.second_first, row.second_last))) {
            return 0;
        }
        for (std::size_t at = 2; at < row.length; ++at) {
            if (!within(byte(at), 0x80, 0xBF)) {
                return 0;
            }
        }
        return row.length;
    }
    return 0;
}

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

std::string valid_utf8(std::string_view text) {
    std::string valid;
    while (!text.empty()) {
        const std::size_t length = sequence_length(text);
        valid += length == 0 ? kReplacement : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return valid;
}

std::string screen_safe(std::string_view text) {
    const std::string valid = valid_utf8(text);
    std::string safe;
    for (std::string_view rest = valid; !rest.empty();) {
        const std::size_t length = sequence_length(rest);
        append_escaped(safe, rest.substr(0, length));
        rest.remove_prefix(length);
    }
    return safe;
}

std::size_t character_count(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

} // namespace kt3::cli
