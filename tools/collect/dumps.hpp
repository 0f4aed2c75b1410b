// SPDX-License-Identifier: MIT
#pragma once
// GPU virtual memory as the driver's dumps tell it. A reader process that hangs or ends within an entry costs that
// entry only.

#include "collect/settings.hpp"
#include "observe/vm/dumps.hpp"

#include <cstdint>
#include <optional>
#include <string>
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

// The process id in the info file of the client with this directory; page tables are not read. Nothing when there is no
// such client, and for the driver's own contexts, whose process is 0. Throws Failure when the file names no process or
// cannot be read in time.
[[nodiscard]] std::optional<std::int64_t> process_of_client(const Settings& settings, const std::string& client);

} // namespace kt3::collect
