#include "observe/dvfs/registers.hpp"

#include "observe/failure.hpp"
#include "observe/interrupt.hpp"

#include <array>
#include <charconv>
#include <cstring>
#include <fmt/format.h>
#include <limits>

namespace kt3::observe {
namespace {

template<auto Member>
std::int64_t value_of(const DvfsRecord& record) {
    return static_cast<std::int64_t>(record.*Member);
}

template<auto Member>
void store(DvfsRecord& record, std::int64_t value) {
    using Field = std::remove_reference_t<decltype(record.*Member)>;
    record.*Member = static_cast<Field>(value);
}

template<auto Member>
constexpr DvfsRegister row(const char* name, const char* node, const char* command, DvfsForm form) {
    return {name, node, command, form, value_of<Member>, store<Member>};
}

using Record = DvfsRecord;
using Form = DvfsForm;

// clang-format off
constexpr DvfsRegister kRegisters[] = {
    row<&Record::power_mode>           ("power_mode",            "power_mode",          "0x",   Form::hex),
    row<&Record::pg_3d>                ("pg_3d",                 "pwm_wait_count",      "0 0 ", Form::gate),
    row<&Record::pg_vcp>               ("pg_vcp",                "pwm_wait_count",      "0 1 ", Form::gate),
    row<&Record::pg_vpp>               ("pg_vpp",                "pwm_wait_count",      "0 2 ", Form::gate),
    row<&Record::cg_3d>                ("cg_3d",                 "pwm_wait_count",      "1 0 ", Form::gate),
    row<&Record::cg_vcp>               ("cg_vcp",                "pwm_wait_count",      "1 1 ", Form::gate),
    row<&Record::cg_vpp>               ("cg_vpp",                "pwm_wait_count",      "1 2 ", Form::gate),
    row<&Record::dvfs_mode>            ("dvfs_mode",             "dvfs_mode",           "0x",   Form::hex),
    row<&Record::dvfs_level>           ("dvfs_level",            "dvfs_level",          "",     Form::level),
    row<&Record::gfx_dvfs_checksize>   ("gfx_dvfs_checksize",    "dvfs_control_params", "0 0 ", Form::hex),
    row<&Record::vcp0_dvfs_checksize>  ("vcp0_dvfs_checksize",   "dvfs_control_params", "1 0 ", Form::hex),
    row<&Record::vcp1_dvfs_checksize>  ("vcp1_dvfs_checksize",   "dvfs_control_params", "2 0 ", Form::hex),
    row<&Record::vpp_dvfs_checksize>   ("vpp_dvfs_checksize",    "dvfs_control_params", "3 0 ", Form::hex),
    row<&Record::gfx_dvfs_h_threshold> ("gfx_dvfs_h_threshold",  "dvfs_control_params", "0 1 ", Form::hex),
    row<&Record::vcp0_dvfs_h_threshold>("vcp0_dvfs_h_threshold", "dvfs_control_params", "1 1 ", Form::hex),
    row<&Record::vcp1_dvfs_h_threshold>("vcp1_dvfs_h_threshold", "dvfs_control_params", "2 1 ", Form::hex),
    row<&Record::vpp_dvfs_h_threshold> ("vpp_dvfs_h_threshold",  "dvfs_control_params", "3 1 ", Form::hex),
    row<&Record::gfx_dvfs_l_threshold> ("gfx_dvfs_l_threshold",  "dvfs_control_params", "0 2 ", Form::hex),
    row<&Record::vcp0_dvfs_l_threshold>("vcp0_dvfs_l_threshold", "dvfs_control_params", "1 2 ", Form::hex),
    row<&Record::vcp1_dvfs_l_threshold>("vcp1_dvfs_l_threshold", "dvfs_control_params", "2 2 ", Form::hex),
    row<&Record::vpp_dvfs_l_threshold> ("vpp_dvfs_l_threshold",  "dvfs_control_params", "3 2 ", Form::hex),
    row<&Record::gfx_clock>            ("gfx_clock",             "dvfs_clk_voltage",    "c 0 ", Form::decimal),
    row<&Record::gfx_voltage>          ("gfx_voltage",           "dvfs_clk_voltage",    "v 0 ", Form::decimal),
    row<&Record::vclk>                 ("vclk",                  "vclk",                "",     Form::reported),
    row<&Record::mclk>                 ("mclk",                  "mclk",                "",     Form::reported),
};
// clang-format on

constexpr std::array<std::string_view, 3> kLevels = {"balance", "lowpower", "performance"};

struct Range {
    std::int64_t lowest, highest;
};

Range range_of(DvfsForm form) {
    switch (form) {
    case DvfsForm::gate: // 16 bits, told with or without a sign
        return {std::numeric_limits<std::int16_t>::min(), std::numeric_limits<std::uint16_t>::max()};
    case DvfsForm::hex:
        return {0, std::numeric_limits<std::uint32_t>::max()};
    case DvfsForm::level:
        return {0, kLevels.size() - 1};
    default:
        return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
    }
}

[[noreturn]] void refuse(const std::string& why) {
    throw Failure{ExitStatus::usage, "bad_value", why, "`kt3 dvfs get` shows names and values"};
}

std::optional<std::int64_t> parse_number(std::string_view text) {
    const bool negative = text.substr(0, 1) == "-";
    text.remove_prefix(negative ? 1 : 0);
    const bool hex = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    text.remove_prefix(hex ? 2 : 0);
    std::uint32_t magnitude = 0; // no register is wider
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, hex ? 16 : 10);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return negative ? -std::int64_t{magnitude} : std::int64_t{magnitude};
}

DvfsRecord filled_with(int byte) {
    DvfsRecord record;
    std::memset(&record, byte, sizeof record);
    return record;
}

// Why the driver told nothing. The node of a register that was not found holds something else.
Absence why_untold(const Adapter& adapter, const DvfsRegister& row) {
    const Reading<std::string> page = read_page(adapter.info_fd, row.node);
    return page.present() ? Absence::parse_error : page.absence();
}

} // namespace

std::span<const DvfsRegister> dvfs_registers() {
    return kRegisters;
}

const DvfsRegister* find_dvfs_register(std::string_view name) {
    for (const DvfsRegister& row : kRegisters) {
        if (row.name == name) {
            return &row;
        }
    }
    return nullptr;
}

std::int64_t checked_dvfs_value(const DvfsRegister& row, std::int64_t value) {
    const Range range = range_of(row.form);
    if (value < range.lowest || value > range.highest) {
        refuse(fmt::format("{} takes {} to {}, not {}", row.name, range.lowest, range.highest, value));
    }
    return row.form == DvfsForm::gate ? static_cast<std::int16_t>(value) : value;
}

std::int64_t parse_dvfs_value(const DvfsRegister& row, std::string_view text) {
    for (std::size_t level = 0; row.form == DvfsForm::level && level < kLevels.size(); ++level) {
        if (text == kLevels[level]) {
            return static_cast<std::int64_t>(level);
        }
    }
    const auto value = parse_number(text);
    if (!value) {
        refuse(fmt::format("'{}' is no value for {}", text, row.name));
    }
    return checked_dvfs_value(row, *value);
}

std::string dvfs_text(const DvfsRegister& row, std::int64_t value) {
    switch (row.form) {
    case DvfsForm::hex:
        return fmt::format("{:#x}", value);
    case DvfsForm::gate:
        return fmt::format("{:#x}", static_cast<std::uint16_t>(value));
    case DvfsForm::level:
        if (value >= 0 && value < static_cast<std::int64_t>(kLevels.size())) {
            return std::string(kLevels[static_cast<std::size_t>(value)]);
        }
        break;
    default:
        break;
    }
    return std::to_string(value);
}

std::string dvfs_command(const DvfsRegister& row, std::int64_t value) {
    const bool hex = row.form == DvfsForm::hex || row.form == DvfsForm::gate;
    return row.command + (hex ? fmt::format("{:x}", static_cast<std::uint32_t>(value)) : dvfs_text(row, value));
}

const Reading<std::int64_t>& DvfsState::reading(const DvfsRegister& row) const {
    return readings[static_cast<std::size_t>(&row - kRegisters)];
}

// What the driver does not tell stays in the record as it was: it differs when two records begin differently.
DvfsState read_dvfs(const Library& library, Machine& machine, const Adapter& adapter) {
    DvfsState state;
    if (adapter.info_fd < 0) {
        const Absence why = adapter.family == nullptr ? Absence::not_on_this_chip : Absence::driver;
        state.readings.assign(std::size(kRegisters), why);
        return state;
    }
    make_current(library, machine, adapter);
    std::uint32_t flushed = 0;
    DvfsRecord other = filled_with(0xFF);
    state.record = filled_with(0);
    const auto read = KT3_ENTRY(library, get_data_from_dvfs_register);
    read(&other, &flushed);
    read(&state.record, &flushed);
    check_interrupt();
    const DvfsRecord blank = filled_with(0);
    const DvfsRecord full = filled_with(0xFF);
    for (const DvfsRegister& row : kRegisters) {
        const std::int64_t value = row.read(state.record);
        if (!row.settable()) {
            state.readings.push_back(judged(value, adapter.info_fd, row.node));
            continue;
        }
        const bool untold = value == row.read(blank) && row.read(other) == row.read(full);
        state.readings.push_back(untold ? why_untold(adapter, row) : Reading(value));
    }
    return state;
}

} // namespace kt3::observe
