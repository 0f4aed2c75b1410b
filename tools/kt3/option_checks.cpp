// SPDX-License-Identifier: MIT
#include "kt3/option_checks.hpp"

#include <charconv>
#include <fmt/format.h>
#include <optional>
#include <string>

namespace kt3::cli {
namespace {

constexpr double kLongestWait = 86'400;

// The number that the whole text stands for.
template<typename Number>
std::optional<Number> number_in(const std::string& text) {
    Number number{};
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

} // namespace

CLI::Validator seconds_to_wait(double least) {
    const auto check = [least](const std::string& text) -> std::string {
        const auto number = number_in<double>(text);
        const bool fits = number && *number >= least && *number <= kLongestWait; // neither holds for nan
        return fits ? "" : fmt::format("'{}': expected seconds between {} and {}", text, least, kLongestWait);
    };
    return {check, fmt::format("{} to {}", least, kLongestWait)};
}

CLI::Validator whole_number(std::int64_t least, std::int64_t most) {
    const auto check = [least, most](std::string& text) -> std::string {
        const auto number = number_in<std::int64_t>(text);
        if (!number || *number < least || *number > most) {
            return fmt::format("'{}': expected a whole number between {} and {}", text, least, most);
        }
        text = std::to_string(*number);
        return "";
    };
    return {check, fmt::format("{} to {}", least, most)};
}

CLI::Validator not_empty() {
    return {[](const std::string& text) -> std::string { return text.empty() ? "the value is empty" : ""; }, ""};
}

} // namespace kt3::cli
