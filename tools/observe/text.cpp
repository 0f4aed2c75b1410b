// SPDX-License-Identifier: MIT
#include "observe/text.hpp"

#include <algorithm>

namespace kt3::observe {
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

} // namespace

std::size_t utf8_length(std::string_view text) {
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

std::string valid_utf8(std::string_view text) {
    std::string valid;
    while (!text.empty()) {
        const std::size_t length = utf8_length(text);
        valid += length == 0 ? kReplacement : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return valid;
}

} // namespace kt3::observe
