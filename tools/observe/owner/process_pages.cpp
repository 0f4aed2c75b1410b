// SPDX-License-Identifier: MIT
#include "observe/owner/process_pages.hpp"

#include <algorithm>
#include <charconv>

namespace kt3::observe {
namespace {

constexpr int kStateField = 3; // of /proc/PID/stat, counted from 1; the first after the name
constexpr int kStartTimeField = 22;
constexpr int kEffectiveUid = 2; // of "Uid:", after the real one
constexpr std::string_view kBlanks = " \t";

// Takes the next word of the line off the text; empty at its end.
std::string_view next_word(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(" \t\n"));
    text.remove_prefix(word.size());
    return word;
}

template<typename Number>
std::optional<Number> number_of(std::string_view word) {
    Number number{};
    const auto result = std::from_chars(word.data(), word.data() + word.size(), number);
    return result.ec == std::errc() && result.ptr == word.data() + word.size() ? std::optional(number) : std::nullopt;
}

// What follows the key at the beginning of a line, to the end of that line.
std::optional<std::string_view> line_after(std::string_view text, std::string_view key) {
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        if (line.substr(0, key.size()) == key) {
            return line.substr(key.size());
        }
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return std::nullopt;
}

} // namespace

std::optional<ProcessStat> parse_process_stat(std::string_view text) {
    const std::size_t opening = text.find('(');
    const std::size_t closing = text.rfind(')');
    if (opening == std::string_view::npos || closing == std::string_view::npos || closing < opening) {
        return std::nullopt;
    }
    ProcessStat stat;
    stat.name = text.substr(opening + 1, closing - opening - 1);
    text.remove_prefix(closing + 1);
    stat.state = next_word(text);
    std::string_view word;
    for (int field = kStateField; field < kStartTimeField; ++field) {
        word = next_word(text);
    }
    const auto start_time = number_of<std::uint64_t>(word);
    if (stat.state.size() != 1 || !start_time) {
        return std::nullopt;
    }
    stat.start_time = *start_time;
    return stat;
}

ProcessStatus parse_process_status(std::string_view text) {
    ProcessStatus status;
    if (auto users = line_after(text, "Uid:")) {
        std::string_view word;
        for (int field = 0; field < kEffectiveUid; ++field) {
            word = next_word(*users);
        }
        status.uid = number_of<std::uint32_t>(word);
    }
    if (auto pids = line_after(text, "NSpid:")) {
        static_cast<void>(next_word(*pids)); // as the reader numbers it
        for (std::string_view word = next_word(*pids); !word.empty(); word = next_word(*pids)) {
            status.inner_pid = number_of<std::int32_t>(word);
        }
    }
    return status;
}

std::optional<std::int64_t> parse_boot_time(std::string_view text) {
    auto line = line_after(text, "btime ");
    return line ? number_of<std::int64_t>(next_word(*line)) : std::nullopt;
}

} // namespace kt3::observe
