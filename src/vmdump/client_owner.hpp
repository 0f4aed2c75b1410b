// SPDX-License-Identifier: MIT
#pragma once
// Who owns a client: the process id from its info file, the process name from ps.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/owned.hpp"

namespace kt3::vmdump {

// Fills `pid` from the first line of the file that holds "pid"; leaves it alone when there is none. False, with one
// line on standard output, when the file cannot be read that far.
bool read_process_id(const char* info_path, data_vectors& record);

// A process name that is being looked up. ps runs beside the caller until the answer is taken.
struct NameQuery {
    enum class Way { given, refused, failed, asked };
    Way way = Way::failed;
    support::Pipe ps; // held only when asked
};
NameQuery ask_process_name(const data_vectors& record);

// Fills `app_name`. False when ps could not be started.
bool take_process_name(NameQuery query, data_vectors& record);

} // namespace kt3::vmdump
