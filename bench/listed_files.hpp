// SPDX-License-Identifier: MIT
#pragma once
// Walking a directory with the bare calls.

#include <dirent.h>
#include <string>

namespace kt3::bench {

// Calls `use(directory descriptor, name)` for every entry but hidden ones.
template<typename Use>
void for_each_entry(const std::string& directory, Use use) {
    DIR* listing = ::opendir(directory.c_str());
    while (const dirent* entry = ::readdir(listing)) {
        if (entry->d_name[0] != '.') {
            use(::dirfd(listing), entry->d_name);
        }
    }
    ::closedir(listing);
}

} // namespace kt3::bench
