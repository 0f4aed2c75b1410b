// SPDX-License-Identifier: MIT
#pragma once
// The virtual-memory nodes of every allocation.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

#include <string_view>

namespace kt3::vmdump {

// The next node of the text: from its separator up to the next one or the end. Cuts it off the text together with
// whatever stands before it. Empty when there is no separator left.
std::string_view next_node(std::string_view& text);

// All nodes of a text.
std::vector<std::string> split_nodes(std::string_view text);

allcation_Info make_node(std::string_view node, std::string_view handle);

// Appends every node of every allocation below the driver directory. False when the directory or a file cannot be
// read (the latter with one line on standard output); what was appended until then stays.
bool walk_allocation_nodes(const char* driver_directory, std::vector<allcation_Info>& list);

// One entry per node. Malformed numbers raise the "stoi" and "stoll" errors with the entries before filled.
void fill_entries(_GFX_VM_ALLOCATION_DATA* entries, const std::vector<allcation_Info>& list);

} // namespace kt3::vmdump
