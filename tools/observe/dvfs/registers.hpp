// SPDX-License-Identifier: MIT
#pragma once
// The driver's power-management settings as registers of a name: their text, their limits and the command that carries
// them.

#include "nodes/dvfs_table.hpp"
#include "observe/adapter/nodes.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kt3::observe {

using nodes::DvfsForm;
using nodes::DvfsRecord;

struct DvfsRegister {
    const char* name; // of the record's field
    const char* node;
    const char* command; // what stands before the value in the text that the driver receives; null for a clock that it
                         // only reports
    DvfsForm form;
    const char* unit; // or ""
    std::int64_t (*read)(const DvfsRecord&);
    void (*store)(DvfsRecord&, std::int64_t);

    [[nodiscard]] constexpr bool settable() const { return command != nullptr; }
};

// In the order in which the driver receives commands; the two that it only reports come last.
[[nodiscard]] std::span<const DvfsRegister> dvfs_registers();

// Null when there is no register of this name.
[[nodiscard]] const DvfsRegister* find_dvfs_register(std::string_view name);

// Decimal or 0x hexadecimal, for levels their names as well. Throws Failure for what the register cannot hold.
[[nodiscard]] std::int64_t parse_dvfs_value(const DvfsRegister& row, std::string_view text, bool forced);

// Throws Failure when the register cannot hold the value, or when no chip works with such a clock or voltage, which is
// let pass when `forced`. A gate's upper half of 16 bits becomes negative.
[[nodiscard]] std::int64_t checked_dvfs_value(const DvfsRegister& row, std::int64_t value, bool forced);

// "0x10", "900", "lowpower".
[[nodiscard]] std::string dvfs_text(const DvfsRegister& row, std::int64_t value);

// The command line that the driver receives for the value, without its line end.
[[nodiscard]] std::string dvfs_command(const DvfsRegister& row, std::int64_t value);

// The record as the driver publishes it, with one reading per register: absent where the driver published nothing. The
// library compares later writes with this record.
struct DvfsState {
    DvfsRecord record{};
    std::vector<Reading<std::int64_t>> readings; // as dvfs_registers()

    [[nodiscard]] const Reading<std::int64_t>& reading(const DvfsRegister& row) const;
};
[[nodiscard]] DvfsState read_dvfs(const Library& library, Machine& machine, const Adapter& adapter);

} // namespace kt3::observe
