#pragma once
// The one log channel. Every folder logs through lib_print_func of the public header.

#include "kt3_mgmt/kt3_mgmt_interface.h"

namespace kt3::interface {

// Makes printf itself the callback: clients compare the pointer with printf to see whether one was installed.
void print_through_printf();

} // namespace kt3::interface
