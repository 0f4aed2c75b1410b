// SPDX-License-Identifier: MIT
#include "node_meanings.hpp"

#include <algorithm>

namespace kt3::sim {
namespace {

// The forms of the values that commands carry.
enum class Value { hex, decimal, level };

// A node that takes commands: the rest of the command after `command` becomes the value after `key` in the page.
struct Register {
    std::string_view node;
    std::string_view command;
    std::string_view key;
    Value value;
};

// clang-format off
constexpr Register kRegisters[] = {
    {"power_mode",          "0x",   "power_mode:0x",            Value::hex},
    {"dvfs_mode",           "0x",   "dvfs_mode:0x",             Value::hex},
    {"dvfs_level",          "",     "dvfs_level:",              Value::level},
    // gating kind, engine, value
    {"pwm_wait_count",      "0 0 ", "pg_3d:0x",                 Value::hex},
    {"pwm_wait_count",      "0 1 ", "pg_vcp:0x",                Value::hex},
    {"pwm_wait_count",      "0 2 ", "pg_vpp:0x",                Value::hex},
    {"pwm_wait_count",      "1 0 ", "cg_3d:0x",                 Value::hex},
    {"pwm_wait_count",      "1 1 ", "cg_vcp:0x",                Value::hex},
    {"pwm_wait_count",      "1 2 ", "cg_vpp:0x",                Value::hex},
    // engine, parameter, value
    {"dvfs_control_params", "0 0 ", "gfx_dvfs_checksize:0x",    Value::hex},
    {"dvfs_control_params", "0 1 ", "gfx_dvfs_h_threshold:0x",  Value::hex},
    {"dvfs_control_params", "0 2 ", "gfx_dvfs_l_threshold:0x",  Value::hex},
    {"dvfs_control_params", "1 0 ", "vcp0_dvfs_checksize:0x",   Value::hex},
    {"dvfs_control_params", "1 1 ", "vcp0_dvfs_h_threshold:0x", Value::hex},
    {"dvfs_control_params", "1 2 ", "vcp0_dvfs_l_threshold:0x", Value::hex},
    {"dvfs_control_params", "2 0 ", "vcp1_dvfs_checksize:0x",   Value::hex},
    {"dvfs_control_params", "2 1 ", "vcp1_dvfs_h_threshold:0x", Value::hex},
    {"dvfs_control_params", "2 2 ", "vcp1_dvfs_l_threshold:0x", Value::hex},
    {"dvfs_control_params", "3 0 ", "vpp_dvfs_checksize:0x",    Value::hex},
    {"dvfs_control_params", "3 1 ", "vpp_dvfs_h_threshold:0x",  Value::hex},
    {"dvfs_control_params", "3 2 ", "vpp_dvfs_l_threshold:0x",  Value::hex},
    // clock or voltage, domain, value
    {"dvfs_clk_voltage",    "c 0 ", "gfx_clock:",               Value::decimal},
    {"dvfs_clk_voltage",    "v 0 ", "gfx_voltage:",             Value::decimal},
};
// clang-format on

constexpr std::string_view kLevels[] = {"balance", "lowpower", "performance"};
constexpr std::size_t kMostHexDigits = 8;
constexpr std::size_t kMostDecimalDigits = 10;

bool consists_of(std::string_view text, std::string_view allowed, std::size_t most) {
    return !text.empty() && text.size() <= most && text.find_first_not_of(allowed) == std::string_view::npos;
}

bool has_form(std::string_view text, Value form) {
    if (form == Value::hex) {
        return consists_of(text, "0123456789abcdefABCDEF", kMostHexDigits);
    }
    if (form == Value::decimal) {
        const bool negative = text.substr(0, 1) == "-";
        return consists_of(text.substr(negative ? 1 : 0), "0123456789", kMostDecimalDigits);
    }
    for (const std::string_view level : kLevels) {
        if (text == level) {
            return true;
        }
    }
    return false;
}

// Drivers take any white space between the fields of a command.
std::string with_single_spaces(std::string_view text) {
    std::string words;
    for (const char c : text) {
        const bool space = c == ' ' || c == '\t' || c == '\n' || c == '\r';
        if (!space) {
            words += c;
        } else if (!words.empty() && words.back() != ' ') {
            words += ' ';
        }
    }
    if (!words.empty() && words.back() == ' ') {
        words.pop_back();
    }
    return words;
}

std::optional<std::string> with_value(std::string_view page, std::string_view key, std::string_view value) {
    // "cg_3d" must not be found inside another name: a key starts the page or follows white space.
    for (std::size_t at = page.find(key); at != std::string_view::npos; at = page.find(key, at + 1)) {
        if (at == 0 || page[at - 1] == ' ' || page[at - 1] == '\n' || page[at - 1] == '\t') {
            const std::size_t start = at + key.size();
            const std::size_t end = std::min(page.find_first_of(" \t\n", start), page.size());
            return std::string(page.substr(0, start)).append(value).append(page.substr(end));
        }
    }
    return std::nullopt;
}

std::optional<std::string> after_command(std::string_view node, std::string_view page, std::string_view command) {
    for (const Register& row : kRegisters) {
        if (row.node == node && command.substr(0, row.command.size()) == row.command &&
            has_form(command.substr(row.command.size()), row.value)) {
            return with_value(page, row.key, command.substr(row.command.size()));
        }
    }
    return std::nullopt;
}

bool takes_commands(std::string_view node) {
    for (const Register& row : kRegisters) {
        if (row.node == node) {
            return true;
        }
    }
    return false;
}

} // namespace

// Nodes without a row keep the text itself, as "enable_usage" and "misc_ctl_flag" do.
std::optional<std::string> page_after_write(std::string_view node, std::string_view page, std::string_view text) {
    if (!takes_commands(node)) {
        return std::string(text);
    }
    // One command per line; the first that makes no sense ends the write without any effect.
    std::string changed(page);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const auto next = after_command(node, changed, with_single_spaces(text.substr(0, end)));
        if (!next) {
            return std::nullopt;
        }
        changed = *next;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return changed;
}

} // namespace kt3::sim
