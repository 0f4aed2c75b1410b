// SPDX-License-Identifier: MIT
#include "allocation/debug_tree.hpp"

#include "interface/say_line.hpp"
#include "support/file_reading.hpp"

#include <cstdio>
#include <cstring>

namespace kt3::allocation {
namespace {

constexpr std::size_t kLongestPath = 1024;

// "entry/leaf", relative to the listing. Directory entries have at most 255 characters, so both always fit.
void join(char (&path)[kLongestPath], const char* entry, const char* leaf) {
    char* end = ::stpcpy(path, entry);
    *end++ = '/';
    ::stpcpy(end, leaf);
}

} // namespace

support::Listing list_directory(const DebugTree& tree, const char* name) {
    char path[kLongestPath];
    std::snprintf(path, sizeof path, "%s/%s", tree.directory, name);
    return support::Listing(path);
}

bool is_listed_whole(const support::Listing& listing) {
    if (listing.failed()) {
        interface::say_line("Error opening directory");
    }
    return !listing.failed();
}

support::Fd open_page(const support::Listing& listing, const char* entry, const char* leaf) {
    char path[kLongestPath];
    join(path, entry, leaf);
    return support::open_for_reading(listing.descriptor(), path);
}

} // namespace kt3::allocation
