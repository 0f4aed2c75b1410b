// SPDX-License-Identifier: MIT
#pragma once
// Changing registers: wishes are checked against what the driver tells, sent and read back. Nothing is sent to a
// register that could not be read.

#include "observe/dvfs/registers.hpp"

namespace kt3::observe {

struct DvfsWish {
    const DvfsRegister* row;
    std::int64_t value;
};

struct DvfsChange {
    const DvfsRegister* row;
    std::int64_t before;
    std::int64_t wanted;
    std::optional<std::int64_t> after{}; // as read back
    bool refused = false;                // the node may not be written
};

// What the wishes change, in the order in which the driver receives it. Of two wishes for one register the later holds.
// Throws Failure when a wished register cannot be read.
[[nodiscard]] std::vector<DvfsChange> plan_changes(const DvfsState& state, const std::vector<DvfsWish>& wishes);

// Sends what the wishes change by now and reads it back. The adapter is bound.
[[nodiscard]] std::vector<DvfsChange> send_changes(const Library& library, Machine& machine, const Adapter& adapter,
                                                   const std::vector<DvfsWish>& wishes);

// Throws Failure for the first change that the driver did not take.
void check_taken(const std::vector<DvfsChange>& changes);

// Where the register stands.
[[nodiscard]] std::string node_path(const Adapter& adapter, const DvfsRegister& row);

// What the register held when it was read back.
[[nodiscard]] std::string kept_text(const DvfsChange& change);

} // namespace kt3::observe
