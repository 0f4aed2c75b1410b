// SPDX-License-Identifier: MIT
#pragma once
// Walking the driver's debugfs directories, which hold one subdirectory per object.

#include "support/listing.hpp"

namespace kt3::allocation {

// Where the driver publishes one adapter, and which of its two layouts it uses there.
struct DebugTree {
    const char* directory; // the adapter's driver directory, "/sys/kernel/debug/dri/N/wy" or ".../qn"
    bool va_driver;        // the driver reports "VA=1"
};

// Lists the directory `name` of the tree.
support::Listing list_directory(const DebugTree& tree, const char* name);

// Whether the walk has seen every entry; prints "Error opening directory" when the listing failed.
bool is_listed_whole(const support::Listing& listing);

// Opens the file `entry`/`leaf` below the listing.
support::Fd open_page(const support::Listing& listing, const char* entry, const char* leaf);

} // namespace kt3::allocation
