// SPDX-License-Identifier: MIT
#pragma once
// GPU virtual memory as the driver's dumps tell it.

#include "observe/library/library.hpp"
#include "observe/vm/dumps.hpp"

namespace kt3::observe {

struct PageTables {
    std::vector<VmClient> clients; // in the order of the driver's listing
    std::vector<DumpFinding> findings;
};

struct AllocationNodes {
    std::vector<VmNode> nodes; // in the order of the driver's listing
    std::vector<DumpFinding> findings;
};

// `timeout` is how long one client or one allocation may take, in seconds.
[[nodiscard]] PageTables read_page_tables(const Library& library, double timeout);
[[nodiscard]] AllocationNodes read_allocation_nodes(const Library& library, double timeout);

} // namespace kt3::observe
