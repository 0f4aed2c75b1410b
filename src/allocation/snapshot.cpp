// SPDX-License-Identifier: MIT
#include "allocation/snapshot.hpp"

#include "allocation/info_page.hpp"
#include "interface/say_line.hpp"
#include "support/page_buffer.hpp"
#include "support/retries.hpp"

#include <algorithm>
#include <sys/stat.h>

namespace kt3::allocation {
namespace {

using namespace std::chrono_literals;

// A directory counts its subdirectories as links, which saves growing the list step by step. Only a hint: file systems
// that do not count, and entries that come and go, cost nothing but the growing.
void reserve_for(const support::Listing& listing, Records& records) {
    constexpr nlink_t kOwnLinks = 2;
    constexpr nlink_t kMostBelieved = 1 << 16;
    struct ::stat directory = {};
    if (::fstat(listing.descriptor(), &directory) == 0 && directory.st_nlink > kOwnLinks) {
        records.reserve(records.size() + std::min(directory.st_nlink - kOwnLinks, kMostBelieved));
    }
}

} // namespace

bool walk_allocations(const DebugTree& tree, Records& records) {
    support::Listing listing = list_directory(tree, "allocations");
    reserve_for(listing, records);
    support::PageBuffer pages;
    while (const char* entry = listing.next()) {
        const auto page = pages.read(open_page(listing, entry, "info"));
        if (!page) {
            // The walk ends here although the message speaks of skipping: clients rely on the retry.
            interface::say_line("Fail to read allocation info. skip...");
            return false;
        }
        records.push_back(parse_info_page(*page, tree.va_driver));
    }
    return is_listed_whole(listing);
}

// A snapshot that keeps failing costs the client 50 ms of pauses.
bool take_snapshot(const DebugTree& tree, Records& records) {
    return support::walk_with_retries(5ms, [&] { return walk_allocations(tree, records); });
}

} // namespace kt3::allocation
