// SPDX-License-Identifier: MIT
#pragma once
// The parts that the driver package brings for an adapter.

#include "observe/adapter/machine.hpp"
#include "observe/reading.hpp"

#include <string>

namespace kt3::observe {

struct DriverState {
    Reading<std::string> module; // the file of the kernel-interface module that binding has loaded
    Reading<std::string> info_directory;
    Reading<std::string> debugfs_directory;
};

// `complete` is what binding the adapter said.
[[nodiscard]] DriverState read_driver_state(const Adapter& adapter, bool complete);

} // namespace kt3::observe
