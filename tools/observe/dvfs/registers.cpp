// SPDX-License-Identifier: MIT
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

constexpr auto kRegisters = [] {
    std::array<DvfsRegister, std::size(nodes::kDvfsRegisters) + std::size(nodes::kDvfsClocks)> all = {};
    std::size_t count = 0;
    for (const std::size_t place : nodes::kDvfsCommandOrder) {
        const nodes::DvfsRegister& row = nodes::kDvfsRegisters[place];
        all[count++] = {row.name, nodes::kDriverNodes[row.node], row.command, row.form, row.unit, row.read, row.store};
    }
    for (const nodes::DvfsClock& row : nodes::kDvfsClocks) {
        all[count++] = {row.name, nodes::kDriverNodes[row.node], nullptr, DvfsForm::decimal, row.unit, row.read,
                        row.store};
    }
    return all;
}();

constexpr std::size_t kLevels = std::size(nodes::kDvfsLevels);

struct Range {
    std::int64_t lowest, highest;
};

Range range_of(DvfsForm form) {
    switch (form) {
    case DvfsForm::gate: // 16 bits, published with or without a sign
        return {std::numeric_limits<std::int16_t>::min(), std::numeric_limits<std::uint16_t>::max()};
    case DvfsForm::hex:
        return {0, std::numeric_limits<std::uint32_t>::max()};
    case DvfsForm::level:
        return {0, kLevels - 1};
    default:
        return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
    }
}

struct SaneRange {
    std::string_view unit;
    Range range;
};

// What drivers take is not published. Beyond these no chip of the two families works.
constexpr SaneRange kSaneRanges[] = {
    {"MHz", {1, 10'000}},
    {"mV", {100, 2'000}},
};

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

// Why a register has no value. The node of a register that was not found holds something else.
Absence why_unread(const Adapter& adapter, const DvfsRegister& row) {
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

std::int64_t checked_dvfs_value(const DvfsRegister& row, std::int64_t value, bool forced) {
    const Range range = range_of(row.form);
    if (value < range.lowest || value > range.highest) {
        refuse(fmt::format("{} takes {} to {}, not {}", row.name, range.lowest, range.highest, value));
    }
    for (const SaneRange& sane : kSaneRanges) {
        if (!forced && sane.unit == row.unit && (value < sane.range.lowest || value > sane.range.highest)) {
            throw Failure{ExitStatus::usage, "bad_value",
                          fmt::format("{}: {} is not between {} and {} {}", row.name, value, sane.range.lowest,
                                      sane.range.highest, row.unit),
                          "--force sends it nevertheless"};
        }
    }
    return row.form == DvfsForm::gate ? static_cast<std::int16_t>(value) : value;
}

std::int64_t parse_dvfs_value(const DvfsRegister& row, std::string_view text, bool forced) {
    for (std::size_t level = 0; row.form == DvfsForm::level && level < kLevels; ++level) {
        if (text == nodes::kDvfsLevels[level]) {
            return static_cast<std::int64_t>(level);
        }
    }
    const auto value = parse_number(text);
    if (!value) {
        refuse(fmt::format("'{}' is not a value of {}", text, row.name));
    }
    return checked_dvfs_value(row, *value, forced);
}

std::string dvfs_text(const DvfsRegister& row, std::int64_t value) {
    switch (row.form) {
    case DvfsForm::hex:
        return fmt::format("{:#x}", value);
    case DvfsForm::gate:
        return fmt::format("{:#x}", static_cast<std::uint16_t>(value));
    case DvfsForm::level:
        if (value >= 0 && value < static_cast<std::int64_t>(kLevels)) {
            return nodes::kDvfsLevels[value];
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
    return readings[static_cast<std::size_t>(&row - kRegisters.data())];
}

// What the driver does not publish stays in the record as it was: it differs when two records begin differently.
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
    const DvfsRecord empty = filled_with(0);
    const DvfsRecord full = filled_with(0xFF);
    for (const DvfsRegister& row : kRegisters) {
        if (!row.settable()) {
            state.readings.push_back(number_at(adapter.info_fd, row.node, Quantity::megahertz));
            continue;
        }
        const std::int64_t value = row.read(state.record);
        const bool unread = value == row.read(empty) && row.read(other) == row.read(full);
        state.readings.push_back(unread ? why_unread(adapter, row) : Reading(value));
    }
    return state;
}

} // namespace kt3::observe
