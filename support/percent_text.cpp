// SPDX-License-Identifier: MIT
#include "support/percent_text.hpp"

namespace kt3::support {
namespace {

// True when a "%%" pair starts at `at`.
bool is_pair(std::string_view text, std::size_t at) {
    return text.substr(at, 2) == "%%";
}

} // namespace

void double_lone_percents(std::string_view line, char* out, std::size_t capacity) {
    std::size_t used = 0;
    for (std::size_t at = 0; at < line.size() && used + 2 < capacity; ++at) {
        out[used++] = line[at];
        if (line[at] == '%') {
            out[used++] = '%';
            at += is_pair(line, at) ? 1 : 0;
        }
    }
    out[used] = '\0';
}

std::string printed_as_format(std::string_view text) {
    std::string printed;
    printed.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        printed.push_back(text[at]);
        at += is_pair(text, at) ? 1 : 0;
    }
    return printed;
}

} // namespace kt3::support
