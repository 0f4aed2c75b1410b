// SPDX-License-Identifier: MIT
#include "nodes/dvfs_commands.hpp"

#include "nodes/accessors.hpp"
#include "nodes/dvfs_table.hpp"
#include "nodes/node_files.hpp"

#include <cstdio>

namespace kt3::nodes {
namespace {

// A level the driver does not know is sent as the neutral one.
const char* level_word(std::int64_t level) {
    const bool known = level >= 0 && level < std::int64_t{std::size(kDvfsLevels)};
    return known ? kDvfsLevels[level] : kDvfsLevels[KT3_DVFS_BALANCE];
}

void send(const DvfsRegister& row, std::int64_t value) {
    char text[128];
    switch (row.form) {
    case DvfsForm::hex:
    case DvfsForm::gate: // sign-extended: a negative count is sent as eight digits
        std::snprintf(text, sizeof text, "%s%x\n", row.command, static_cast<std::uint32_t>(value));
        break;
    case DvfsForm::decimal:
        std::snprintf(text, sizeof text, "%s%d\n", row.command, static_cast<std::int32_t>(value));
        break;
    case DvfsForm::level:
        std::snprintf(text, sizeof text, "%s%s\n", row.command, level_word(value));
        break;
    }
    write_node(current_info_directory(), kDriverNodes[row.node], text);
}

} // namespace

void write_dvfs_changes(const DvfsRecord& wanted, const DvfsRecord& last_read) {
    for (const std::size_t place : kDvfsCommandOrder) {
        const DvfsRegister& row = kDvfsRegisters[place];
        if (row.read(wanted) != row.read(last_read)) {
            send(row, row.read(wanted));
        }
    }
}

} // namespace kt3::nodes
