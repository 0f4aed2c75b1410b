// SPDX-License-Identifier: MIT
#pragma once
// GPU virtual memory as the driver's dumps tell it. A reader process that hangs or ends within an entry costs that
// entry only.

#include "collect/settings.hpp"
#include "observe/vm/dumps.hpp"

#include <cstdint>
#include <vector>

namespace kt3::collect {

struct PageTables {
    std::vector<observe::VmClient> clients; // in the order of the driver's listing
    std::vector<observe::DumpFinding> findings;
    std::int32_t interface_version = 0; // of the library
};

struct AllocationNodes {
    std::vector<observe::VmNode> nodes; // in the order of the driver's listing
    std::vector<observe::DumpFinding> findings;
    std::int32_t interface_version = 0; // of the library
};

// The time of the settings is how long one client or one allocation may take. Throw Failure when nothing can be
// listed.
[[nodiscard]] PageTables read_page_tables(const Settings& settings);
[[nodiscard]] AllocationNodes read_allocation_nodes(const Settings& settings);

} // namespace kt3::collect
