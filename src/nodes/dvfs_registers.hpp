// SPDX-License-Identifier: MIT
#pragma once
// The power-management settings of the current adapter as one record, read from the driver's text pages.

#include "kt3_mgmt/kt3_mgmt_interface.h"

namespace kt3::nodes {

struct DvfsState {
    // The record as last read, all words; changed fields are found by comparing with it. Zero until the first read,
    // not refreshed by a write, and not cleared when another adapter is selected.
    _GPU_DVFS_REGISTER_DATA last_read = {};
};
DvfsState& dvfs_state();

// Fills the record and remembers it. A value that the driver does not publish stays as it was, except the two clocks,
// which become 0. The reserved words are never written.
void read_dvfs_registers(_GPU_DVFS_REGISTER_DATA& record);

// Tells clients whether the record as last read still mirrors the driver.
void mark_dvfs_registers_read(bool mirrors_driver);

} // namespace kt3::nodes
