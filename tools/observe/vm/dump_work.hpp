// SPDX-License-Identifier: MIT
#pragma once
// Reading the dumps of the driver. The library ends the process that meets an over-long field, and a stuck process can
// block ps for ever, so this is for a process of its own.

#include "observe/library/library.hpp"
#include "observe/vm/dump_messages.hpp"

#include <optional>

namespace kt3::observe {

struct DumpJob {
    std::string folder;                            // kClientFolder or kAllocationFolder
    std::optional<std::vector<std::string>> names; // the entries to read; all of them are listed first without
    bool check_first = false;                      // the first of them ended a reader: find out what is wrong with it
    bool only_process = false;                     // of clients, and no page tables
};

// Sends what each entry holds. Throws Failure when the library cannot read dumps.
void read_dumps(const Library& library, const DumpJob& job, const Sender& sender);

} // namespace kt3::observe
