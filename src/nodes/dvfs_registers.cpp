// SPDX-License-Identifier: MIT
#include "nodes/dvfs_registers.hpp"

#include "nodes/accessors.hpp"
#include "nodes/dvfs_table.hpp"
#include "support/text_page.hpp"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <optional>

namespace kt3::nodes {
namespace {

using DvfsPage = support::TextPage<512>;

DvfsPage read_dvfs_page(NodeIndex node) {
    return support::read_node_page<512>(current_info_directory(), kDriverNodes[node]);
}

// dvfs_level:balance
std::optional<std::int64_t> level_in(const DvfsPage& page, const char* key) {
    for (const char* const& level : kDvfsLevels) {
        char text[32];
        std::snprintf(text, sizeof text, "%s%s", key, level);
        if (page.after(text) != nullptr) {
            return &level - kDvfsLevels;
        }
    }
    return std::nullopt;
}

// pg_3d:0x10 cg_3d:0x20
std::optional<std::int64_t> value_in(const DvfsPage& page, const DvfsRegister& row) {
    if (row.form == DvfsForm::level) {
        return level_in(page, row.key);
    }
    const char* at = page.after(row.key);
    if (at == nullptr) {
        return std::nullopt;
    }
    return row.form == DvfsForm::decimal ? std::optional<std::int64_t>(support::scan_int(at))
                                         : std::optional<std::int64_t>(support::scan_unsigned(at, 16));
}

// Reads the page of the first row and stores the values of all rows of its node. Gives the first row of the next node.
const DvfsRegister* read_node_of(const DvfsRegister* row, DvfsRecord& record) {
    const NodeIndex node = row->node;
    const DvfsPage page = read_dvfs_page(node);
    for (; row != std::end(kDvfsRegisters) && row->node == node; ++row) {
        if (const auto value = value_in(page, *row)) {
            row->store(record, *value);
        }
    }
    return row;
}

constinit DvfsState state;

} // namespace

DvfsState& dvfs_state() {
    return state;
}

void read_dvfs_registers(DvfsRecord& record) {
    const DvfsRegister* row = kDvfsRegisters;
    while (row->form != DvfsForm::level) {
        row = read_node_of(row, record);
    }
    for (const DvfsClock& clock : kDvfsClocks) {
        clock.store(record, driver_node_int(clock.node));
    }
    read_node_of(row, record);
    state.last_read = record;
}

void mark_dvfs_registers_read(bool mirrors_driver) {
    dvfs_register_state_data_flushed = mirrors_driver ? 1 : 0;
}

} // namespace kt3::nodes
